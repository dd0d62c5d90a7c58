// Notes of in-place rewrites of table files (rsrewrites_p.h).
#include "toolkit/store/rsrewrites_p.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <deque>
#include <mutex>

namespace {

constexpr size_t kNotesMax = 4096;  // older notes are dropped: a reader that far behind compares the file

struct Notes
{
    std::mutex m;
    std::deque<RsRewriteNote> list;  // in the order of the writes
};

Notes& notes()
{
    static Notes n;
    return n;
}

bool same(const struct timespec& a, const struct timespec& b)
{
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

bool later(const struct timespec& a, const struct timespec& b)
{
    return a.tv_sec != b.tv_sec ? a.tv_sec > b.tv_sec : a.tv_nsec > b.tv_nsec;
}

}  // namespace

void rs_note_rewrite(const RsRewriteNote& note)
{
    Notes& n = notes();
    std::lock_guard<std::mutex> lock(n.m);
    if (n.list.size() >= kNotesMax)
        n.list.pop_front();
    n.list.push_back(note);
}

bool rs_noted_rewrites(dev_t dev, ino_t ino, off_t size, const struct timespec& from, const struct timespec& to,
                       std::vector<size_t>* offsets)
{
    offsets->clear();
    Notes& n = notes();
    std::lock_guard<std::mutex> lock(n.m);
    // back from the newest write of the file: each must have ended at the
    // time the next one began, the last at the time now
    struct timespec at = to;
    for (auto it = n.list.rbegin(); it != n.list.rend(); ++it) {
        if (same(at, from))
            break;
        if (it->dev != dev || it->ino != ino)
            continue;
        if (!it->own_time || it->size != size || !same(it->after, at))
            return false;
        offsets->push_back(it->offset);
        at = it->before;
    }
    if (!same(at, from))
        return false;
    std::reverse(offsets->begin(), offsets->end());
    return true;
}

bool rs_stamp_rewrite(int fd, const struct timespec& was, struct timespec* now, struct stat* after)
{
    struct timespec t;
    if (clock_gettime(CLOCK_REALTIME, &t) != 0)
        return false;
    if (!later(t, was)) {
        t = was;
        if (++t.tv_nsec >= 1000000000L) {
            t.tv_sec++;
            t.tv_nsec = 0;
        }
    }
    const struct timespec times[2] = {{0, UTIME_OMIT}, t};
    if (futimens(fd, times) != 0)
        return false;
    // the file system may keep coarser times than asked for
    struct stat st;
    if (fstat(fd, &st) != 0 || !same(st.st_mtim, t))
        return false;
    *now = t;
    if (after)
        *after = st;
    return true;
}
