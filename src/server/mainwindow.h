// The main window made by the "mainwindow" command: a QMainWindow whose
// central frame is entered in the handle table before the window itself.
#pragma once

#include "server/windowbase.h"

#include <QFrame>
#include <QMainWindow>
#include <QPointer>
#include <QString>


class VXPLOT_EXPORT VXMainWindow : public QMainWindow, public VXWindowBase
{
    Q_OBJECT
public:
    // The QMainWindow is always made without a Qt parent; parent only
    // decides the raise and close logic.  With a server the central frame
    // is entered under the next "frame" handle.
    VXMainWindow(VX_GraphicsServer* server, QWidget* parent, int close_window);
    VXMainWindow(QWidget* parent, int close_window);
    ~VXMainWindow() override;

    // The central frame, parent of everything placed in the window; null
    // once a client has deleted it by its handle.
    QFrame* getToplevel() const { return tl.data(); }

    QString tl_handle;  // handle of the central frame
    QPointer<QFrame> tl;

protected:
    void paintEvent(QPaintEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
};
