// A client of the installed library: starts the server on this thread,
// sends one command directly and prints the answer.
#include <VX.h>

#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv)
{
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    VX_GraphicsServer* server = VX_GraphicsServer_create(argc, argv, "client", nullptr, 0);
    if (!server)
        return 1;
    VX_GraphicsServer_response* response = nullptr;
    QStringList none;
    if (VX_GraphicsServer_send(server, 0, &response, "mainwindow", "none", &none, nullptr) < 0) {
        fprintf(stderr, "%s", hl_errlog_string(0));
        return 1;
    }
    printf("%s\n", response->handle.toUtf8().constData());
    delete response;
    return 0;
}
