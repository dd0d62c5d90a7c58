// A parentless frame made by the "frame" command with parent "none": a
// top-level window with the same close logic as VXMainWindow.
#pragma once

#include "server/windowbase.h"

#include <QFrame>

class VXPLOT_EXPORT VXTopLevel : public QFrame, public VXWindowBase
{
    Q_OBJECT
public:
    VXTopLevel(VX_GraphicsServer* server, QWidget* parent, int close_window);
    VXTopLevel(QWidget* parent, int close_window);
    ~VXTopLevel() override;

    // The frame itself.
    QFrame* getToplevel() { return this; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
};
