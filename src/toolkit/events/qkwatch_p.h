// Notices changes to the table files of one database: with inotify where
// the kernel has it, the folder of the database is watched and a change to
// the contents of a "<database>.<table>" file of a table the server reads
// ends a wait at once; without it (or when told not to use it) a wait
// simply lasts its time-out, after which the server compares sizes and
// modification times.  wake() ends a wait from any thread.
//
// A file of a table that the server does not read, such as the id counters
// of lastid written at every new pick, does not wake the thread.  The time
// a store's write stamps on its file right after it (rsrewrites_p.h) does:
// the server may have looked at the file between the write and its stamp,
// and must not take the stamped file for one it has seen.  Polling still
// compares every file.
#pragma once

#include <string>
#include <vector>

class QKWatcher
{
public:
    QKWatcher() = default;
    ~QKWatcher();
    QKWatcher(const QKWatcher&) = delete;
    QKWatcher& operator=(const QKWatcher&) = delete;

    // Start watching the files of database dbname, of the tables named
    // (all "<dbname>.*" files when none are).  With use_inotify false, or
    // when inotify can't be had, waits only time out.  0, or negative when
    // not even the wake-up channel can be made.
    int open(const std::string& dbname, bool use_inotify, std::vector<std::string> tables = {});

    // Wait up to timeout_ms milliseconds.  1 when a table file of the
    // database changed, 0 on time-out or wake().
    int wait(int timeout_ms);

    // Wait up to timeout_ms milliseconds for wake() alone, leaving changes
    // to the files for the next wait().  1 when woken, 0 on time-out.
    int waitForWake(int timeout_ms);

    // End the current or next wait.  Safe from any thread.
    void wake();

    bool usesInotify() const { return inotify_fd_ >= 0; }

private:
    int drainInotify();

    int wake_fd_ = -1;
    int inotify_fd_ = -1;
    bool watched(const char* name) const;

    std::string prefix_;               // "<base name of the database>."
    std::vector<std::string> tables_;  // table names whose files count; all when empty
};
