#include "server/mainwindow.h"

#include "server/graphicsserver.h"

#include <QCloseEvent>
#include <QFrame>

VXMainWindow::VXMainWindow(VX_GraphicsServer* server_, QWidget* parent_, int close_window_)
    : QMainWindow(nullptr), VXWindowBase(server_, parent_, close_window_)
{
    tl = new QFrame;
    setCentralWidget(tl);
    if (server)
        VX_GraphicsServer_set_item(server, VX_TYPE_FRAME, tl, tl_handle);
}

VXMainWindow::VXMainWindow(QWidget* parent_, int close_window_) : VXMainWindow(nullptr, parent_, close_window_)
{
}

VXMainWindow::~VXMainWindow() = default;

void VXMainWindow::paintEvent(QPaintEvent* event)
{
    if (windowPaint(this))
        QMainWindow::paintEvent(event);
}

void VXMainWindow::closeEvent(QCloseEvent* event)
{
    windowClose(this, event);
}
