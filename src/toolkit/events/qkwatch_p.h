// Notices changes to the table files of one database: with inotify where
// the kernel has it, the folder of the database is watched and a change to
// any "<database>.<table>" file ends a wait at once; without it (or when
// told not to use it) a wait simply lasts its time-out, after which the
// server compares sizes and modification times.  wake() ends a wait from
// any thread.
#pragma once

#include <string>

class QKWatcher
{
public:
    QKWatcher() = default;
    ~QKWatcher();
    QKWatcher(const QKWatcher&) = delete;
    QKWatcher& operator=(const QKWatcher&) = delete;

    // Start watching the files of database dbname.  With use_inotify false,
    // or when inotify can't be had, waits only time out.  0, or negative
    // when not even the wake-up channel can be made.
    int open(const std::string& dbname, bool use_inotify);

    // Wait up to timeout_ms milliseconds.  1 when a table file of the
    // database changed, 0 on time-out or wake().
    int wait(int timeout_ms);

    // End the current or next wait.  Safe from any thread.
    void wake();

    bool usesInotify() const { return inotify_fd_ >= 0; }

private:
    int drainInotify();

    int wake_fd_ = -1;
    int inotify_fd_ = -1;
    std::string prefix_;  // "<base name of the database>."
};
