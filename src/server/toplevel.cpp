#include "server/toplevel.h"

#include <QCloseEvent>

VXTopLevel::VXTopLevel(VX_GraphicsServer* server_, QWidget* parent_, int close_window_)
    : QFrame(nullptr), VXWindowBase(server_, parent_, close_window_)
{
}

VXTopLevel::VXTopLevel(QWidget* parent_, int close_window_) : VXTopLevel(nullptr, parent_, close_window_)
{
}

VXTopLevel::~VXTopLevel() = default;

void VXTopLevel::paintEvent(QPaintEvent* event)
{
    if (windowPaint(this))
        QFrame::paintEvent(event);
}

void VXTopLevel::closeEvent(QCloseEvent* event)
{
    windowClose(this, event);
}
