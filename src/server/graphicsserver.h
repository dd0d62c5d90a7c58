// The graphics server: a Qt thread that builds and drives the user interface
// on behalf of a client thread that knows nothing of Qt.
//
// The client sends text commands (a word, a target handle, positional
// arguments, key/value configuration pairs and, where text cannot carry it,
// raw pointers).  A command sent from another thread travels through a
// bounded queue to the Qt thread, which runs it and answers through a second
// queue; a command sent on the Qt thread (from a callback) runs at once.
// Every object made by command is entered in the handle table under a name
// such as "viewport:2", the number counting all objects of the session.
#pragma once

#include "vxplot_export.h"

#include <QHash>
#include <QList>
#include <QPointer>
#include <QString>
#include <QStringList>

#include <pthread.h>

#include <atomic>
#include <mutex>

class QApplication;
class QObject;
class QPrinter;
class VXViewport;
struct Mtqueue;
struct VX_GraphicsServer;

// The client's thread function.
typedef void (*VX_GraphicsServer_run_thread_callback)(VX_GraphicsServer* server, int argc, char** argv);

// One key/value configuration pair of a command.
struct VXPLOT_EXPORT VX_GraphicsServer_config_arg
{
    VX_GraphicsServer_config_arg() = default;
    VX_GraphicsServer_config_arg(const QString& k, const QString& v) : key(k), value(v) {}
    VX_GraphicsServer_config_arg(const char* k, const char* v) : key(QString::fromUtf8(k)), value(QString::fromUtf8(v)) {}
    QString key;
    QString value;
};

// A command, allocated by the sender and owned by whoever runs it.
struct VXPLOT_EXPORT VX_GraphicsServer_command
{
    QString command;                                  // the command word
    QString handle;                                   // target or parent, "none" where none is allowed
    QStringList args;                                 // positional arguments
    QList<VX_GraphicsServer_config_arg> config_args;  // configuration pairs, in order
    QList<void*> extra_args;                          // raw pointers: callbacks, client data, services
    // Set by VX_GraphicsServer_process from the checks of the word's row:
    // the object behind handle and its type; null and -1 when the row
    // leaves the handle to its proc, or for a handle "none".
    void* target = nullptr;
    int target_type = -1;
};

// A response, owned by the caller of VX_GraphicsServer_send() once returned.
struct VXPLOT_EXPORT VX_GraphicsServer_response
{
    int response = 0;           // 0 success, 1 error
    QString handle;             // new handle, the command's handle or word; on error the error text
    QStringList return_params;  // results of query commands
};

// A command procedure: fills the response and returns 0, or -1 after
// VX_GraphicsServer_error2().
typedef int VX_GraphicsServer_proc(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                                   VX_GraphicsServer_response* response);

// An entry of the handle table.
struct VXPLOT_EXPORT VX_GraphicsServer_type
{
    int type = -1;            // one of VX_ItemType
    void* widget = nullptr;   // the object, as a pointer to the class of its type
    QPointer<QObject> guard;  // set for Qt objects: becomes null when the object is destroyed
};

// Item types of the handle table; the comment gives the handle format.
enum VX_ItemType {
    VX_TYPE_VIEWPORT = 0,            // "viewport:%d"
    VX_TYPE_AXES = 1,                // "axes:%d"
    VX_TYPE_TEXT = 2,                // "text:%d"
    VX_TYPE_POLYLINE = 3,            // "polyline:%d"
    VX_TYPE_POLYPOINT = 4,           // "polypoint:%d"
    VX_TYPE_MAP = 5,                 // "map:%d"
    VX_TYPE_MAPEVENTS = 6,           // "mapevents:%d"
    VX_TYPE_TEXTPOPUP = 7,           // "textpopup:%d"
    VX_TYPE_TASKBAR = 8,             // "taskbar:%d"
    VX_TYPE_FRAME = 9,               // "frame:%d", a QFrame or VXTopLevel
    VX_TYPE_GRIDLAYOUT = 10,         // "gridlayout:%d"
    VX_TYPE_FORMLAYOUT = 11,         // "formlayout:%d"
    VX_TYPE_SPLITTER = 12,           // "splitter:%d"
    VX_TYPE_DOCKWIDGET = 13,         // "dockwidget:%d"
    VX_TYPE_BUTTON = 14,             // "button:%d"
    VX_TYPE_MENUBAR = 15,            // "menubar:%d"
    VX_TYPE_MENU = 16,               // "menu:%d"
    VX_TYPE_LINEEDIT = 17,           // "lineedit:%d"
    VX_TYPE_ACTION = 18,             // "action:%d"
    VX_TYPE_FILEDIALOG = 19,         // "filedialog:%d"
    VX_TYPE_SPREADSHEET = 20,        // "spreadsheet:%d"
    VX_TYPE_MAINWINDOW = 21,         // "mainwindow:%d"
    VX_TYPE_TIMER = 22,              // "timer:%d"
    VX_TYPE_SCROLLAREA = 23,         // "scrollarea:%d"
    VX_TYPE_DATAGRID = 24,           // "datagrid:%d"
    VX_TYPE_CHECKBOX = 25,           // "checkbox:%d"
    VX_TYPE_COMBOBOX = 26,           // "combobox:%d"
    VX_TYPE_DIALOG = 27,             // "dialog:%d"
    VX_TYPE_LABEL = 28,              // "label:%d"
    VX_TYPE_KVTREEVIEW = 29,         // "kvtreeview:%d"
    VX_TYPE_TABLEVIEW = 30,          // "tableview:%d"
    VX_TYPE_DBTABLEVIEW = 31,        // "dbtableview:%d"
    VX_TYPE_QKTABLEVIEW = 32,        // "qktableview:%d"
    VX_TYPE_QKEVENTSTABLEVIEW = 33,  // "qkeventstableview:%d"
    VX_TYPE_QKORIGINSTABLEVIEW = 34, // "qkoriginstableview:%d"
    VX_TYPE_COMMANDCONSOLE = 35,     // "commandconsole:%d"
    VX_TYPE_TRACEVIEW = 36,          // "traceview:%d"
    VX_TYPE_IMAGE = 37,              // "image:%d"
    VX_TYPE_COUNT = 38
};

// The type word of a type number ("viewport", "frame"), or null.
VXPLOT_EXPORT const char* VX_GraphicsServer_type_name(int type);

// Session states.
enum {
    VX_STATE_BUILDING = 0,  // before exec: the Qt thread blocks in the queue
    VX_STATE_RUNNING = 1,   // exec: the Qt thread polls the queue and runs events
    VX_STATE_QUIT = 2,      // quit asked
    VX_STATE_FINISHED = 3   // the loop has ended
};

// The server record; one per process.
struct VXPLOT_EXPORT VX_GraphicsServer
{
    int setup = 0;                        // 1 once VX_GraphicsServer_qapp_setup has run
    int argc = 0;                         // as given to VX_GraphicsServer_create
    char** argv = nullptr;
    QApplication* qapp = nullptr;         // the application object
    bool qapp_owned = false;              // made by the server, and destroyed with it
    QString toplevel_name;                // title of parentless windows, may be empty
    int first_toplevel = 1;               // 1 until the first top-level window is made
    Mtqueue* send_mtqueue = nullptr;      // client to server; null without a client thread
    Mtqueue* receive_mtqueue = nullptr;   // server to client
    QHash<QString, VX_GraphicsServer_type> handles;  // the handle table, under handles_mutex
    std::mutex handles_mutex;
    int handle_instance = 0;              // next instance number, shared by all types
    VX_GraphicsServer_run_thread_callback run_thread_callback = nullptr;
    pthread_t run_thread{};
    bool run_thread_started = false;
    pthread_t server_thread{};            // the Qt thread
    std::atomic<int> state{VX_STATE_BUILDING};
    bool in_qt_exec = false;              // inside QApplication::exec (direct exec)
    QPrinter* printer = nullptr;          // shared printer, made on first use
    QList<VXViewport*> viewports;         // viewports known to the server
};

// Start the server on the calling thread, which becomes the Qt thread.
// With a thread function, a client thread is started on it; when the
// function returns, the process exits with status 0.  With runqt non-zero
// the call runs the main loop and returns when the session has ended;
// otherwise it returns at once and the caller owns the event loop.  Null on
// failure, with the reason registered.  An existing QApplication is used
// rather than replaced.
VXPLOT_EXPORT VX_GraphicsServer* VX_GraphicsServer_create(int argc, char** argv, const char* toplevel_name,
                                                          VX_GraphicsServer_run_thread_callback run_thread_callback,
                                                          int runqt);

// Destroy both queues, then the application object made by the server.
// Tolerates null.
VXPLOT_EXPORT void VX_GraphicsServer_destroy(VX_GraphicsServer* server);

// Write each top-level window of the session (main windows and parentless
// frames, in the order of their handles) to a PNG file: the first to path,
// the next to "stem-2.png" and so on.  Hidden windows are shown first.  Qt
// thread only, typically after the session has ended.  The number written,
// or -1 with a registered error.
VXPLOT_EXPORT int VX_GraphicsServer_snapshot(VX_GraphicsServer* server, const QString& path);

// The main loop of the Qt thread; returns when the session has ended.
VXPLOT_EXPORT void VX_GraphicsServer_run_qt(VX_GraphicsServer* server);

// Install the message handler once per server.
VXPLOT_EXPORT void VX_GraphicsServer_qapp_setup(VX_GraphicsServer* server);

// Send a command and wait for its response.  *response must be null or a
// response of an earlier call, which is deleted.  The variable part is
// char* key, char* value pairs ended by a null pointer.  direct 1 runs the
// command on the calling thread, as does any call on the Qt thread.  0 on
// success; -1 with the server's error text in the register, and the
// response (code 1, the text in its handle) with the caller.
VXPLOT_EXPORT int VX_GraphicsServer_send(VX_GraphicsServer* server, int direct, VX_GraphicsServer_response** response,
                                         const QString& command, const QString& handle, const QStringList* args, ...);

// The same with configuration given as "key value" lines; empty lines and
// lines beginning with "#" are skipped.
VXPLOT_EXPORT int VX_GraphicsServer_send2(VX_GraphicsServer* server, int direct, VX_GraphicsServer_response** response,
                                          const QString& command, const QString& handle, const QStringList* args,
                                          const QStringList* config_args);

// The same with raw pointers and no arguments or configuration.
VXPLOT_EXPORT int VX_GraphicsServer_send_extra(VX_GraphicsServer* server, int direct,
                                               VX_GraphicsServer_response** response, const QString& command,
                                               const QString& handle, const QList<void*>& extra_args);

// Wake the Qt thread's blocking pop: the main loop ends.
VXPLOT_EXPORT void VX_GraphicsServer_release(VX_GraphicsServer* server);

// The server last created.
VXPLOT_EXPORT VX_GraphicsServer* VX_GraphicsServer_get_global();

// Look a handle up; type may be null; idelete non-zero removes the entry.
// Null with a registered error when the handle is unknown or its object has
// been destroyed.
VXPLOT_EXPORT void* VX_GraphicsServer_get_item(VX_GraphicsServer* server, const QString& handle, int* type,
                                               int idelete);

// The idelete argument of VX_GraphicsServer_get_item.
enum { VX_ITEM_KEEP = 0, VX_ITEM_REMOVE = 1 };

// Enter an object under the next handle of its type; the handle is stored
// in handle.  Qt objects should be entered with VX_GraphicsServer_set_object
// so that their destruction is noticed.  0, or -1 for an unknown type.
VXPLOT_EXPORT int VX_GraphicsServer_set_item(VX_GraphicsServer* server, int type, void* widget, QString& handle);
VXPLOT_EXPORT int VX_GraphicsServer_set_object(VX_GraphicsServer* server, int type, void* widget, QObject* object,
                                               QString& handle);

// The handle of an object, empty when it has none.
VXPLOT_EXPORT QString VX_GraphicsServer_get_value(VX_GraphicsServer* server, void* value);

// Run a command on the calling thread; the dispatcher of both paths.
VXPLOT_EXPORT int VX_GraphicsServer_process(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                                            VX_GraphicsServer_response* response);

// Move the register's text into the response as an error; returns -1.
VXPLOT_EXPORT int VX_GraphicsServer_error2(VX_GraphicsServer* server, VX_GraphicsServer_response* response);

// Ask the session to end (state 2), also ending QApplication::exec when the
// direct exec is running.
VXPLOT_EXPORT void VX_GraphicsServer_request_quit(VX_GraphicsServer* server);
