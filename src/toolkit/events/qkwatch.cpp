// The change watcher of the event server.
#include "toolkit/events/qkwatch_p.h"

#include "toolkit/base/errors.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <utility>

QKWatcher::~QKWatcher()
{
    if (wake_fd_ >= 0)
        close(wake_fd_);
    if (inotify_fd_ >= 0)
        close(inotify_fd_);
}

int QKWatcher::open(const std::string& dbname, bool use_inotify, std::vector<std::string> tables)
{
    tables_ = std::move(tables);
    wake_fd_ = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    if (wake_fd_ < 0) {
        hl_register_error(1, "QKWatcher::open: eventfd: %s.\n", strerror(errno));
        return -1;
    }
    if (!use_inotify)
        return 0;
    const size_t slash = dbname.find_last_of('/');
    const std::string dir = slash == std::string::npos ? "." : slash == 0 ? "/" : dbname.substr(0, slash);
    prefix_ = (slash == std::string::npos ? dbname : dbname.substr(slash + 1)) + ".";
    inotify_fd_ = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (inotify_fd_ < 0)
        return 0;  // no inotify here: polling alone
    const uint32_t mask =
        IN_MODIFY | IN_CLOSE_WRITE | IN_CREATE | IN_DELETE | IN_MOVED_TO | IN_MOVED_FROM | IN_ATTRIB;
    if (inotify_add_watch(inotify_fd_, dir.c_str(), mask) < 0) {
        // a folder that does not exist yet, or no watches left: polling
        close(inotify_fd_);
        inotify_fd_ = -1;
    }
    return 0;
}

int QKWatcher::drainInotify()
{
    // events are read whole; the buffer is aligned for inotify_event
    alignas(struct inotify_event) char buf[8192];
    int hit = 0;
    while (true) {
        const ssize_t n = read(inotify_fd_, buf, sizeof buf);
        if (n <= 0)
            break;
        for (ssize_t at = 0; at + static_cast<ssize_t>(sizeof(struct inotify_event)) <= n;) {
            const auto* e = reinterpret_cast<const struct inotify_event*>(buf + at);
            if (e->mask & IN_Q_OVERFLOW)
                hit = 1;
            if (e->len > 0 && watched(e->name))
                hit = 1;
            at += static_cast<ssize_t>(sizeof(struct inotify_event) + e->len);
        }
    }
    return hit;
}

bool QKWatcher::watched(const char* name) const
{
    if (strncmp(name, prefix_.c_str(), prefix_.size()) != 0)
        return false;
    if (tables_.empty())
        return true;
    const char* table = name + prefix_.size();
    return std::find(tables_.begin(), tables_.end(), table) != tables_.end();
}

int QKWatcher::wait(int timeout_ms)
{
    struct pollfd fds[2];
    int n = 0;
    fds[n++] = {wake_fd_, POLLIN, 0};
    if (inotify_fd_ >= 0)
        fds[n++] = {inotify_fd_, POLLIN, 0};
    int r;
    do {
        r = poll(fds, static_cast<nfds_t>(n), timeout_ms);
    } while (r < 0 && errno == EINTR);
    if (r <= 0)
        return 0;
    if (fds[0].revents) {
        uint64_t v;
        while (read(wake_fd_, &v, sizeof v) > 0) {
        }
    }
    return n > 1 && fds[1].revents && drainInotify() ? 1 : 0;
}

int QKWatcher::waitForWake(int timeout_ms)
{
    struct pollfd fd = {wake_fd_, POLLIN, 0};
    int r;
    do {
        r = poll(&fd, 1, timeout_ms);
    } while (r < 0 && errno == EINTR);
    if (r <= 0)
        return 0;
    uint64_t v;
    while (read(wake_fd_, &v, sizeof v) > 0) {
    }
    return 1;
}

void QKWatcher::wake()
{
    const uint64_t one = 1;
    if (wake_fd_ >= 0 && write(wake_fd_, &one, sizeof one) < 0) {
        // the counter is full: a wake-up is pending anyway
    }
}
