// A transient box of text shown next to the pointer, hiding itself after a
// while.
//
// The popup is a frameless tool-tip window.  Its picture (the text on a
// filled box) is made again by raiseTextPopup(), which also places it at
// the position by its justification and starts the timer when a timeout is
// set.
#pragma once

#include "foundation/configure.h"
#include "foundation/values.h"
#include "vxplot_export.h"

#include <QPixmap>
#include <QPoint>
#include <QString>
#include <QTimer>
#include <QWidget>

class QPaintEvent;

struct VxTextPopup
{
    double timeout = 0.0;        // seconds shown; 0 until hidden by the caller
    double opacity = 1.0;        // window opacity, 0 to 1
    char* text = nullptr;        // owned
    char* justification = nullptr;  // which point of the box sits at the position: "c", "nw", ...
    QPoint position;             // global pixels
    QString minmax;              // a second line under the text, may be empty
    VX_Color background;         // unset: the palette's tool-tip colour
    VX_Color foreground;
    VX_Font font;
};

class VXPLOT_EXPORT VXTextPopup : public QWidget, public VXConfigure
{
    Q_OBJECT

public:
    // Keys: color_background ("default": the palette's tool-tip colour),
    // opacity ("1.0"), timeout ("0.0", seconds), text, position ("x y" or
    // "x,y", global pixels), justification ("c").
    explicit VXTextPopup(QWidget* parent = nullptr);
    ~VXTextPopup() override;

    void setText(const QString& text);
    void setPosition(QPoint position);
    void setJustification(const QString& justification);
    // Seconds until the popup hides itself after the next raise; 0 (or
    // less) keeps it until hidden.  A running timer is restarted.
    void setTimeout(double seconds);
    void stopTimer();
    // A second line under the text, typically the range of the data under
    // the pointer; empty for none.
    void setMinMax(const QString& text);
    // Make the picture, place the window, show and raise it, and start the
    // timer when a timeout is set.
    void raiseTextPopup();
    bool timerActive() const;
    // Timer interval in milliseconds.
    int timerInterval() const;

    // The text (lines split at "\n") on a box of colour with a margin of 4
    // pixels, in font.
    static QPixmap makePixmap(const QString& text, const QColor& colour, const QColor& text_colour,
                              const QFont& font);

    VxTextPopup vars;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QPixmap picture;
    QTimer hide_timer;
};
