// The offscreen application that fuzz targets drawing widgets need, made
// once on the first input.
#pragma once

#include <QApplication>

#include <cstdlib>

inline QApplication* fuzz_application()
{
    static int argc = 1;
    static char name[] = "vxplot_fuzz";
    static char* argv[] = {name, nullptr};
    static QApplication* app = nullptr;
    if (!app && !QCoreApplication::instance()) {
        setenv("QT_QPA_PLATFORM", "offscreen", 1);
        app = new QApplication(argc, argv);
    }
    return app;
}
