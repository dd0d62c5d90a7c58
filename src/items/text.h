// A placed piece of text with optional background and outline: labels,
// taskbar buttons.
//
// The position is a pair of pixel expressions ("0.5v", "fleft+10",
// "1r+5"); "r" terms refer to the box that another text (relative) had at
// its last draw, so texts chain one after the other.  The anchor
// (justification) says which point of the text sits at the position.
#pragma once

#include "foundation/configure.h"
#include "foundation/values.h"
#include "viewport/viewportitem.h"
#include "vxplot_export.h"

#include <QList>
#include <QPixmap>
#include <QString>

#include <functional>

class QEvent;
class QMouseEvent;
class QPainter;
class QPainterPath;
class VXText;
class VXViewport;

// Called by processEvent with (text, event type, event, client data);
// 2 consumes the event.
struct VxTextCallback
{
    std::function<int(VXText*, int, QEvent*, void*)> callback_proc;
    HL_ClientData client_data = nullptr;
};

// A cached picture for a word at a size.
struct VxTextSpecialSymbol
{
    QString name;
    int size = 0;
    int width = 0, height = 0;
    QPixmap pixmap;
};

struct VxText
{
    double opacity = 1.0;             // painter opacity, 0 to 1
    int select = 0;                   // highlighted by its owner
    char* text = nullptr;             // UTF-8, owned
    double fxbb = 0.0, fybb = 0.0;    // position of the box at the last draw
    int wbb = 0, hbb = 0;             // size of that box; 0 before the first draw
    double x = 0.0, y = 0.0;          // pixels from the plot area's left and bottom
    double angle = 0.0;               // degrees, clockwise
    char* justification = nullptr;    // anchor: "sw", "c", "ne", ... (a last "b": of the background box)
    void* relative = nullptr;         // a VXText* for "r" terms, or null
    char* xpos = nullptr;             // pixel expressions, owned
    char* ypos = nullptr;
    int width = 0, height = 0;        // fixed background size, 0 for automatic
    int show_not_symbol = 0;          // diagonal stroke through the box
    QPainterPath* path = nullptr;     // background box of the last draw, for hit tests; owned
    HL_ClientData textCallbackClientData = nullptr;
    VX_Color foreground, outline, background;
    VX_Font font;
    QList<VxTextCallback> textCallbacks;
};

class VXPLOT_EXPORT VXText : public VXViewportItem, public VXConfigure
{
public:
    // A registered item of master (which may be null) showing text at the
    // pixel expressions xpos, ypos.  Null texts count as empty.
    VXText(VXViewport* master, const char* text, const char* xpos, const char* ypos);
    ~VXText() override;

    // Install the table with its defaults and set the three texts.
    void init(const char* text, const char* xpos, const char* ypos);
    // New position expressions; null keeps the present one.
    void setPosition(const char* xpos, const char* ypos);
    // The text "r" terms refer to; null for none.  The pointer is checked at
    // each use, so a text deleted since is taken as none.
    void setRelative(VXText* relative);

    // The box of the last draw: fxbb, fybb, wbb, hbb.
    void getBB(double* x, double* y, int* w, int* h);
    // The same as the box "r" terms see; -1 before the first draw.
    int getRelativeBox(double* x, double* y, double* w, double* h) override;
    // The event's point is inside the box of the last draw.
    bool contains(QMouseEvent* event);
    void setTextCallback(std::function<int(VXText*, int, QEvent*, void*)> callback, HL_ClientData client_data);

    // Place and draw the text; 1 when something was drawn, 0 otherwise.
    int draw(QPainter* painter);
    int drawViewportItem(QPainter* painter) override;
    // The callbacks in order; the first answer 2 is returned at once.  1
    // when none consumed the event.
    int processEvent(int type, QEvent* event) override;

    // A small picture for a word ("check", "cross", "dot") at a pixel size
    // (4 to 256), made at first use and cached; a null pixmap for other
    // words.
    static QPixmap specialSymbol(const QString& name, int size);

    VxText vars;

private:
    static QPixmap makeSpecialSymbol(const QString& name, int size);
    static bool isLive(const void* text);
};
