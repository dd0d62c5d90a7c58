// vxsh: the command shell of the graphics server.
#pragma once

#include <QString>
#include <QStringList>

#include <atomic>
#include <mutex>

struct VX_GraphicsServer;

struct ShellOptions
{
    bool keep_going = false;   // report failed commands and go on, exit status 0
    bool quiet = false;        // print no responses
    int wait = -1;             // after the script: 1 wait for the session to end, 0 quit, -1 decide
    bool interactive = false;  // reading a terminal: prompt, and keep going
    QString snapshot;          // image file written when the session ends
    QStringList files;         // scripts, "-" for standard input
    QString inline_script;     // text given with -c
};

// Shared between the client thread and the main (Qt) thread.
struct ShellState
{
    ShellOptions options;
    std::mutex mutex;
    QString snapshot;             // under mutex: the option or the last @snapshot
    std::atomic<int> status{0};   // the exit status
    // The client sets ending before it sends quit and finished when it has
    // printed its last line; the main thread then waits for finished.
    std::atomic<bool> ending{false};
    std::atomic<bool> finished{false};
};

ShellState& shellState();

// The client thread's function: runs the scripts, then ends the session or
// waits for it to end.  Never returns.
void shellClient(VX_GraphicsServer* server, int argc, char** argv);
