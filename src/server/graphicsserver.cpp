#include "server/graphicsserver.h"

#include "foundation/messages.h"
#include "server/commands.h"
#include "server/procs.h"
#include "toolkit/base/errors.h"
#include "toolkit/base/mtqueue.h"

#include <QApplication>
#include <QPalette>
#include <QPrinter>
#include <QStyleFactory>

#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace {

std::atomic<VX_GraphicsServer*> global_server{nullptr};

// Both queues hold at most this many entries, and their pops block.
constexpr int kQueueLength = 10;
constexpr int kQueueBlocks = 1;
constexpr int kQueueFlags = 0;

// QApplication keeps references to its argument count and vector for its
// whole life, so they live in static storage, made once per process.
int qt_argc = 0;
char** qt_argv = nullptr;

void copyArguments(int argc, char** argv)
{
    if (qt_argv)
        return;
    int n = argc > 0 ? argc : 1;
    qt_argv = static_cast<char**>(calloc(static_cast<size_t>(n) + 1, sizeof(char*)));
    for (int i = 0; i < n; i++)
        qt_argv[i] = strdup(i < argc && argv && argv[i] ? argv[i] : "vxplot");
    qt_argc = n;
}

// A light palette and the Fusion style, whatever the desktop's theme.
void VX_forceLightMode(QApplication* app)
{
    QPalette palette;
    palette.setColor(QPalette::Window, QColor("#ffffff"));
    palette.setColor(QPalette::WindowText, QColor("#000000"));
    palette.setColor(QPalette::Base, QColor("#ffffff"));
    palette.setColor(QPalette::AlternateBase, QColor("#f5f5f5"));
    palette.setColor(QPalette::Text, QColor("#000000"));
    palette.setColor(QPalette::Button, QColor("#ffffff"));
    palette.setColor(QPalette::ButtonText, QColor("#000000"));
    QApplication::setPalette(palette);
    if (QStyle* style = QStyleFactory::create("Fusion"))
        app->setStyle(style);
}

void* VX_GraphicsServer_run_thread(void* arg)
{
    auto* server = static_cast<VX_GraphicsServer*>(arg);
    server->run_thread_callback(server, server->argc, server->argv);
    // the session ends with the client's function, whatever the Qt thread does
    exit(0);
}

// Fill command->config_args from char* key, value pairs ended by a null.
void VX_GraphicsServer_make_config_args(VX_GraphicsServer_command* command, va_list ap)
{
    command->config_args.clear();
    for (;;) {
        const char* key = va_arg(ap, const char*);
        if (!key)
            break;
        const char* value = va_arg(ap, const char*);
        if (!value)
            break;
        command->config_args.append(VX_GraphicsServer_config_arg(key, value));
    }
}

// Fill command->config_args from "key value" lines.
void VX_GraphicsServer_make_config_args2(VX_GraphicsServer_command* command, const QStringList* lines)
{
    command->config_args.clear();
    if (!lines)
        return;
    for (const QString& line : *lines) {
        if (line.isEmpty() || line.startsWith(QLatin1Char('#')))
            continue;
        qsizetype cut = line.indexOf(QLatin1Char(' '));
        if (cut < 0)
            cut = line.indexOf(QLatin1Char('\t'));
        QString key = cut < 0 ? line : line.left(cut);
        QString value = cut < 0 ? QString() : line.mid(cut + 1);
        command->config_args.append(VX_GraphicsServer_config_arg(key.trimmed(), value));
    }
}

int VX_GraphicsServer_send_pvt(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                               VX_GraphicsServer_response** response, int direct)
{
    const QByteArray word = vx_msg(command->command);
    const QByteArray handle = vx_msg(command->handle);

    if (!direct && server->send_mtqueue && !pthread_equal(pthread_self(), server->server_thread)) {
        if (mtqueue_push(server->send_mtqueue, command) < 0) {
            hl_register_error(HL_SEVERITY_SYSTEM, "VX_GraphicsServer_send: mtqueue_push() error.\n");
            delete command;
            return -1;
        }
        delete *response;
        *response = nullptr;
        void* popped = nullptr;
        if (mtqueue_pop(server->receive_mtqueue, &popped) != 1) {
            hl_register_error(HL_SEVERITY_SYSTEM, "VX_GraphicsServer_send_pvt: %s %s, no response: the server has stopped.\n",
                              word.constData(), handle.constData());
            return -1;
        }
        *response = static_cast<VX_GraphicsServer_response*>(popped);
        if ((*response)->response == 1) {
            hl_register_error(HL_SEVERITY_NORMAL, "VX_GraphicsServer_send_pvt: %s %s, response error:\n%s\n", word.constData(),
                              handle.constData(), vx_msg((*response)->handle).constData());
            return -1;
        }
        return 0;
    }

    delete *response;
    *response = new VX_GraphicsServer_response;
    (*response)->handle = command->command;
    int ret = VX_GraphicsServer_process(server, command, *response);
    delete command;
    if (ret < 0) {
        hl_register_error(HL_SEVERITY_NORMAL, "VX_GraphicsServer_send_pvt: %s %s, response error:\n%s\n", word.constData(),
                          handle.constData(), vx_msg((*response)->handle).constData());
        return -1;
    }
    return 0;
}

VX_GraphicsServer_command* newCommand(const QString& word, const QString& handle, const QStringList* args)
{
    auto* command = new VX_GraphicsServer_command;
    command->command = word;
    command->handle = handle;
    if (args)
        command->args = *args;
    return command;
}

bool checkServer(VX_GraphicsServer* server, VX_GraphicsServer_response** response)
{
    if (server && response)
        return true;
    hl_register_error(HL_SEVERITY_NORMAL, "VX_GraphicsServer_send: Null server or response pointer.\n");
    return false;
}

} // namespace

VX_GraphicsServer* VX_GraphicsServer_get_global()
{
    return global_server.load();
}

VX_GraphicsServer* VX_GraphicsServer_create(int argc, char** argv, const char* toplevel_name,
                                            VX_GraphicsServer_run_thread_callback run_thread_callback, int runqt)
{
    copyArguments(argc, argv);
    // installed before the application object, so that Qt's start-up
    // warnings are dropped like all others
    VX_InstallMessageHandler();

    QApplication* app = qobject_cast<QApplication*>(QCoreApplication::instance());
    bool owned = false;
    if (!app) {
        if (QCoreApplication::instance()) {
            hl_register_error(HL_SEVERITY_NORMAL, "VX_GraphicsServer_create: A QCoreApplication without widgets exists already.\n");
            return nullptr;
        }
        // Qt 6 always uses high-resolution pixmaps: the attribute of older
        // versions has no equivalent left to set
        app = new QApplication(qt_argc, qt_argv);
        owned = true;
    }
    VX_forceLightMode(app);
    VX_GraphicsString_init();

    auto* server = new VX_GraphicsServer;
    server->argc = argc;
    server->argv = argv;
    server->qapp = app;
    server->qapp_owned = owned;
    if (toplevel_name)
        server->toplevel_name.append(QString::fromUtf8(toplevel_name));
    server->handle_instance = 0;
    server->server_thread = pthread_self();
    server->run_thread_callback = run_thread_callback;
    global_server = server;

    if (run_thread_callback) {
        server->send_mtqueue = mtqueue_create(kQueueLength, kQueueBlocks, kQueueFlags);
        if (!server->send_mtqueue) {
            hl_register_error(HL_SEVERITY_SYSTEM, "VX_GraphicsServer_create: mtqueue_create(send_mtqueue) error.\n");
            VX_GraphicsServer_destroy(server);
            return nullptr;
        }
        server->receive_mtqueue = mtqueue_create(kQueueLength, kQueueBlocks, kQueueFlags);
        if (!server->receive_mtqueue) {
            hl_register_error(HL_SEVERITY_SYSTEM, "VX_GraphicsServer_create: mtqueue_create(receive_mtqueue) error.\n");
            VX_GraphicsServer_destroy(server);
            return nullptr;
        }
        pthread_attr_t attr;
        pthread_attr_init(&attr);
        size_t stacksize = 0;
        if (pthread_attr_getstacksize(&attr, &stacksize) == 0 && stacksize > 0)
            pthread_attr_setstacksize(&attr, 2 * stacksize);
        int err = pthread_create(&server->run_thread, &attr, VX_GraphicsServer_run_thread, server);
        pthread_attr_destroy(&attr);
        if (err != 0) {
            hl_register_error(HL_SEVERITY_SYSTEM, "VX_GraphicsServer_create: pthread_create() error.\n");
            VX_GraphicsServer_destroy(server);
            return nullptr;
        }
        server->run_thread_started = true;
    }

    if (runqt)
        VX_GraphicsServer_run_qt(server);
    else
        VX_GraphicsServer_qapp_setup(server);
    return server;
}

void VX_GraphicsServer_destroy(VX_GraphicsServer* server)
{
    if (!server)
        return;
    VX_GraphicsServer* expected = server;
    global_server.compare_exchange_strong(expected, nullptr);
    if (server->qapp_owned)
        delete server->qapp;
    server->qapp = nullptr;
    if (server->run_thread_started) {
        // The client thread lives on until its function returns, and may
        // still hold the queues: wake it with the release, so that a send
        // fails instead of blocking, and keep the queues and the record.
        mtqueue_release_block(server->send_mtqueue);
        mtqueue_release_block(server->receive_mtqueue);
        static std::mutex retired_mutex;
        static QList<VX_GraphicsServer*> retired;
        std::lock_guard<std::mutex> lock(retired_mutex);
        retired.append(server);
        return;
    }
    mtqueue_destroy(server->send_mtqueue, nullptr);
    mtqueue_destroy(server->receive_mtqueue, nullptr);
    delete server->printer;
    delete server;
}

void VX_GraphicsServer_qapp_setup(VX_GraphicsServer* server)
{
    if (!server || server->setup)
        return;
    server->setup = 1;
    VX_InstallMessageHandler();
}

void VX_GraphicsServer_request_quit(VX_GraphicsServer* server)
{
    if (!server)
        return;
    server->state = VX_STATE_QUIT;
    if (server->in_qt_exec)
        QCoreApplication::quit();
}

void VX_GraphicsServer_run_qt(VX_GraphicsServer* server)
{
    if (!server)
        return;
    VX_GraphicsServer_qapp_setup(server);
    for (;;) {
        if (server->send_mtqueue) {
            void* popped = nullptr;
            int ret = mtqueue_pop(server->send_mtqueue, &popped);
            if (ret == 0)
                break;
            if (ret == 1) {
                auto* command = static_cast<VX_GraphicsServer_command*>(popped);
                if (command->command.isEmpty()) {
                    // a wake-up call: no response
                    delete command;
                } else {
                    auto* response = new VX_GraphicsServer_response;
                    response->handle = command->command;
                    if (command->command == QLatin1String("exec"))
                        server->state = VX_STATE_RUNNING;
                    else if (command->command == QLatin1String("quit"))
                        server->state = VX_STATE_QUIT;
                    else
                        VX_GraphicsServer_process(server, command, response);
                    mtqueue_push(server->receive_mtqueue, response);
                    delete command;
                    if (server->state == VX_STATE_QUIT)
                        break;
                }
            }
            if (server->state != VX_STATE_RUNNING)
                continue;
        }
        // Polling loop.  Without a client thread there is nothing to pop,
        // so events run from the start: only a callback can end the session.
        while (server->state != VX_STATE_QUIT) {
            if (server->send_mtqueue) {
                int n = mtqueue_data_available(server->send_mtqueue);
                if (n < 0)
                    hl_die(0, "VX_GraphicsServer_run_qt: mtqueue_data_available(send_mtqueue) error.\n");
                if (n > 0)
                    break;
            }
            QCoreApplication::sendPostedEvents(nullptr, 0);
            QCoreApplication::processEvents();
            usleep(10000);
        }
        if (server->state == VX_STATE_QUIT)
            break;
    }
    server->state = VX_STATE_FINISHED;
}

int VX_GraphicsServer_send(VX_GraphicsServer* server, int direct, VX_GraphicsServer_response** response,
                           const QString& command, const QString& handle, const QStringList* args, ...)
{
    if (!checkServer(server, response))
        return -1;
    VX_GraphicsServer_command* c = newCommand(command, handle, args);
    va_list ap;
    va_start(ap, args);
    VX_GraphicsServer_make_config_args(c, ap);
    va_end(ap);
    return VX_GraphicsServer_send_pvt(server, c, response, direct);
}

int VX_GraphicsServer_send2(VX_GraphicsServer* server, int direct, VX_GraphicsServer_response** response,
                            const QString& command, const QString& handle, const QStringList* args,
                            const QStringList* config_args)
{
    if (!checkServer(server, response))
        return -1;
    VX_GraphicsServer_command* c = newCommand(command, handle, args);
    VX_GraphicsServer_make_config_args2(c, config_args);
    return VX_GraphicsServer_send_pvt(server, c, response, direct);
}

int VX_GraphicsServer_send_extra(VX_GraphicsServer* server, int direct, VX_GraphicsServer_response** response,
                                 const QString& command, const QString& handle, const QList<void*>& extra_args)
{
    if (!checkServer(server, response))
        return -1;
    VX_GraphicsServer_command* c = newCommand(command, handle, nullptr);
    VX_GraphicsServer_make_config_args2(c, nullptr);
    c->extra_args = extra_args;
    return VX_GraphicsServer_send_pvt(server, c, response, direct);
}

void VX_GraphicsServer_release(VX_GraphicsServer* server)
{
    if (server && server->send_mtqueue)
        mtqueue_release_block(server->send_mtqueue);
}

int VX_GraphicsServer_error2(VX_GraphicsServer* /*server*/, VX_GraphicsServer_response* response)
{
    response->response = 1;
    response->handle = QString::fromUtf8(hl_errlog_string(0));
    hl_clear_register(HL_CLEAR_QUIET);
    response->return_params.clear();
    return -1;
}

int VX_GraphicsServer_process(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                              VX_GraphicsServer_response* response)
{
    VX_GraphicsString_init();
    const VX_GraphicsServer_command_row* row = VX_GraphicsServer_find_command(command->command);
    if (!row) {
        hl_register_error(HL_SEVERITY_NORMAL, "VX_GraphicsServer_process: Unrecognized command '%s'.\n",
                          vx_msg(command->command).constData());
        return VX_GraphicsServer_error2(server, response);
    }
    if (VX_GraphicsServer_check(server, *row, command) < 0)
        return VX_GraphicsServer_error2(server, response);
    // A constructor that cannot go on throws its message (or "Exception"
    // after registering it); the throw ends here, as an error response.
    try {
        return row->proc(server, command, response);
    } catch (const char* text) {
        if (text && strcmp(text, "Exception") != 0)
            hl_register_error(HL_SEVERITY_NORMAL, "%s", text);
    } catch (const QString& text) {
        if (text != QLatin1String("Exception"))
            hl_register_error(HL_SEVERITY_NORMAL, "%s", vx_msg(text).constData());
    } catch (const std::exception& e) {
        hl_register_error(HL_SEVERITY_NORMAL, "VX_GraphicsServer_process: %s: %s\n", vx_msg(command->command).constData(), e.what());
    }
    return VX_GraphicsServer_error2(server, response);
}
