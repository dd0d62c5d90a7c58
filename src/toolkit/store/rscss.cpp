// The flat-file back end: one text file per table, "<database>.<table>",
// one record per line.
//
// A table is read whole on first use into a copy of the file; records are
// views into that copy.  Every write holds an exclusive lock of the file
// (an open-file-description lock, so that threads with handles of their own
// exclude each other as processes do), first takes in whatever other
// processes wrote, and then changes the file with one write: a new record
// is appended as a whole line, a changed record is rewritten in place at its
// fixed width.  A writer that dies leaves at worst an unfinished last line,
// which readers skip and the next writer ends with a new line of its own.
//
// A reader brings its copy up to the file under a shared lock: what was
// appended is read and checked; a file changed in place (same size, newer
// time) by writers of this process is patched from their notes
// (rsrewrites_p.h), reading only the rewritten records; otherwise it is
// compared with the copy and only the changed lines are checked again,
// unless lines moved, when it is read whole.
//
// The counter of rsnextid() is not flushed on its own when a table keyed by
// the id exists: the ids given out are in that table, whose rows are
// flushed, and the next id is one more than the largest there, so a counter
// that a crash of the system set back still gives unique ids.
#include "toolkit/store/rsbackend_p.h"
#include "toolkit/store/rsrewrites_p.h"

#include "toolkit/base/errors.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <memory>
#include <mutex>
#include <new>
#include <vector>

namespace {

constexpr int kMessagesPerRead = 10;  // bad lines listed one by one per read

// What takeIn() found.
enum { kUnchanged, kGrown, kReread, kReplaced };

// Serialises the writes of this process, whatever handle they come from.
std::mutex& writeMutex()
{
    static std::mutex m;
    return m;
}

// A lock of the whole file, held while the object lives.  An open file
// description lock where the system has them, else a process lock.
class FileLock
{
public:
    FileLock(int fd, short type) : fd_(fd) { ok_ = set(type); }
    ~FileLock()
    {
        if (ok_)
            set(F_UNLCK);
    }
    bool ok() const { return ok_; }

private:
    bool set(short type)
    {
        struct flock fl;
        memset(&fl, 0, sizeof fl);
        fl.l_type = type;
        fl.l_whence = SEEK_SET;
        while (true) {
#ifdef F_OFD_SETLKW
            if (!classic_) {
                if (fcntl(fd_, F_OFD_SETLKW, &fl) == 0)
                    return true;
                if (errno == EINVAL)
                    classic_ = true;  // and the same lock, unlock included, the classic way
                else if (errno != EINTR)
                    return false;
                continue;
            }
#endif
            if (fcntl(fd_, F_SETLKW, &fl) == 0)
                return true;
            if (errno != EINTR)
                return false;
        }
    }
    int fd_;
    bool ok_ = false;
    bool classic_ = false;
};

bool sameTime(const struct timespec& a, const struct timespec& b)
{
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

// Read n bytes at offset; false on a short read or an error.
bool preadAll(int fd, char* p, size_t n, off_t offset)
{
    while (n > 0) {
        ssize_t got = pread(fd, p, n, offset);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return false;
        p += got;
        n -= static_cast<size_t>(got);
        offset += got;
    }
    return true;
}

struct CssTable
{
    bool loaded = false;
    std::string path;
    int fd = -1;
    pid_t pid = 0;         // the process that opened fd
    bool fd_writable = false;
    RsRows rows;           // copy of the file's first `known` bytes
    size_t known = 0;
    long lines = 0;        // lines read, for numbering
    long bad = 0;
    dev_t dev = 0;
    ino_t ino = 0;
    struct timespec mtime = {0, 0};
    long generation = 0;   // see RsBackend::rowsGeneration()
    bool rewritten_known = false;  // see RsBackend::rewrittenRecords()
    std::vector<long> rewritten;
    bool only_grew = false;  // see RsBackend::onlyGrew()
};

class CssBackend : public RsBackend
{
public:
    CssBackend(const RsSchema* schema, const std::string& base, int mode)
        : RsBackend(schema), base_(base), mode_(mode), tables_(schema->tables.size())
    {
        for (size_t t = 0; t < tables_.size(); t++)
            tables_[t].path = base + "." + schema->tables[t].name;
    }
    ~CssBackend() override
    {
        for (CssTable& t : tables_)
            if (t.fd >= 0 && t.pid == getpid())
                close(t.fd);
    }

    bool writable() const override { return mode_ & RS_WRITE; }
    int load(int table) override;
    bool loaded(int table) const override { return tables_[static_cast<size_t>(table)].loaded; }
    long count(int table) const override { return tables_[static_cast<size_t>(table)].rows.count(); }
    std::shared_ptr<const void> holdRecords(int table) const override
    {
        return tables_[static_cast<size_t>(table)].rows.share();
    }
    std::string_view record(int table, long r) const override
    {
        const RsRows& rows = tables_[static_cast<size_t>(table)].rows;
        return std::string_view(rows.at(rows.offset(r)), static_cast<size_t>(def(table).width));
    }
    long badRows(int table) const override { return tables_[static_cast<size_t>(table)].bad; }
    std::string path(int table) const override { return tables_[static_cast<size_t>(table)].path; }

    long append(int table, std::string_view text) override;
    int update(int table, long r, std::string_view text, const std::vector<int>& fields) override;
    long put(int table, std::string_view text) override;
    long nextId(const char* name) override;
    int refresh(int table) override;
    long rowsGeneration(int table) const override { return tables_[static_cast<size_t>(table)].generation; }
    bool rewrittenRecords(int table, std::vector<long>* records) const override
    {
        const CssTable& t = tables_[static_cast<size_t>(table)];
        if (t.rewritten_known)
            *records = t.rewritten;
        return t.rewritten_known;
    }
    bool onlyGrew(int table) const override { return tables_[static_cast<size_t>(table)].only_grew; }

private:
    int openFile(int table, bool write);
    int readFrom(int table, size_t from, size_t size);
    void ingest(int table, size_t from);
    int takeIn(int table, int* change);
    bool patchInPlace(int table, size_t size);
    bool patchNoted(int table, const struct stat& st);
    bool recheckLines(int table, size_t size, const std::vector<size_t>& lines);
    bool lineOk(int table, const char* line, size_t length, long number, int* messages);
    int beginWrite(int table, const char* caller);
    long appendLocked(int table, std::string_view text, bool sync = true);
    int updateLocked(int table, long r, std::string_view text, const std::vector<int>& fields, bool sync = true);
    int flush(int table, bool sync = true);

    std::string base_;
    int mode_;
    std::vector<CssTable> tables_;
};

int CssBackend::openFile(int table, bool write)
{
    CssTable& t = tables_[static_cast<size_t>(table)];
    if (t.fd >= 0 && t.pid != getpid()) {
        // a forked child: the descriptor and its lock are shared with the
        // parent, so the child takes one of its own
        close(t.fd);
        t.fd = -1;
    }
    if (t.fd >= 0 && (!write || t.fd_writable))
        return 0;
    bool created = false;
    int fd = -1;
    if (write) {
        // Another writer may create the file between our two opens; then
        // its file is the one to use, so open again rather than fail.
        for (int attempt = 0; attempt < 3 && fd < 0; attempt++) {
            fd = open(t.path.c_str(), O_RDWR | O_CLOEXEC);
            if (fd >= 0 || errno != ENOENT)
                break;
            fd = open(t.path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
            created = fd >= 0;
            if (fd < 0 && errno != EEXIST)
                break;
        }
    } else {
        fd = open(t.path.c_str(), O_RDONLY | O_CLOEXEC);
    }
    if (fd < 0) {
        if (!write && errno == ENOENT)
            return 1;  // no file: an empty table
        hl_register_error(0, "CssBackend::openFile: Cannot open %s: %s.\n", t.path.c_str(), strerror(errno));
        return -1;
    }
    if (created && !(mode_ & RS_NOSYNC)) {
        // make the new file's name last as well as its contents
        std::string dir = t.path.substr(0, t.path.find_last_of('/') + 1);
        int dfd = open(dir.empty() ? "." : dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (dfd >= 0) {
            fsync(dfd);
            close(dfd);
        }
    }
    if (t.fd >= 0)
        close(t.fd);
    t.fd = fd;
    t.pid = getpid();
    t.fd_writable = write;
    return 0;
}

bool CssBackend::lineOk(int table, const char* line, size_t length, long number, int* messages)
{
    if (def(table).quickCheck(std::string_view(line, length)))
        return true;
    std::string why;
    if (def(table).checkRecord(std::string_view(line, length), &why))
        return true;
    if ((*messages)++ < kMessagesPerRead)
        hl_register_error(0, "CssBackend::ingest: %s line %ld: %s.\n",
                          tables_[static_cast<size_t>(table)].path.c_str(), number, why.c_str());
    return false;
}

// Take in the lines of the copy from offset from: good ones become records.
void CssBackend::ingest(int table, size_t from)
{
    CssTable& t = tables_[static_cast<size_t>(table)];
    int messages = 0;
    size_t pos = from;
    const size_t end = t.rows.size();
    while (pos < end) {
        const char* start = t.rows.at(pos);
        const char* nl = static_cast<const char*>(memchr(start, '\n', end - pos));
        const size_t length = nl ? static_cast<size_t>(nl - start) : end - pos;
        if (length == 0 && pos > 0 && *t.rows.at(pos - 1) != '\n') {
            pos++;  // the end a writer put to an unfinished record
            continue;
        }
        t.lines++;
        if (!nl) {
            // only a writer that died leaves this: the next one ends the line
            if (messages++ < kMessagesPerRead)
                hl_register_error(0,
                                  "CssBackend::ingest: %s line %ld: no new line at the end of the file "
                                  "(an unfinished record).\n",
                                  t.path.c_str(), t.lines);
            t.bad++;
        } else if (length == 0) {
            // an empty line holds no record
        } else if (lineOk(table, start, length, t.lines, &messages)) {
            t.rows.addRecord(pos);
        } else {
            t.bad++;
        }
        pos += length + (nl ? 1 : 0);
    }
    if (messages > kMessagesPerRead)
        hl_register_error(0, "CssBackend::ingest: %s: %d more bad lines not listed.\n", t.path.c_str(),
                          messages - kMessagesPerRead);
    t.known = end;
}

// Read the file's bytes [from, size) into the copy, which keeps from bytes.
int CssBackend::readFrom(int table, size_t from, size_t size)
{
    CssTable& t = tables_[static_cast<size_t>(table)];
    const size_t width = static_cast<size_t>(def(table).width) + 1;
    const size_t more = (size - from) / width;
    if (t.rows.resize(size) < 0 || !t.rows.reserveRecords(static_cast<size_t>(t.rows.count()) + more)) {
        t.rows.resize(from);
        hl_register_error(1, "CssBackend::readFrom: Out of memory for the %zu bytes of %s.\n", size, t.path.c_str());
        return -1;
    }
    if (!preadAll(t.fd, t.rows.at(from), size - from, static_cast<off_t>(from))) {
        t.rows.resize(from);
        hl_register_error(0, "CssBackend::readFrom: Cannot read %s: %s.\n", t.path.c_str(),
                          errno ? strerror(errno) : "file shorter than its size");
        return -1;
    }
    ingest(table, from);
    return 0;
}

int CssBackend::load(int table)
{
    CssTable& t = tables_[static_cast<size_t>(table)];
    if (t.loaded)
        return 0;
    int opened = openFile(table, false);
    if (opened < 0) {
        hl_register_error(0, "CssBackend::load: Cannot read table %s.\n", def(table).name.c_str());
        return -1;
    }
    t.rows.clear();
    t.generation++;
    t.known = 0;
    t.lines = 0;
    t.bad = 0;
    if (opened == 0) {
        int change = kUnchanged;
        FileLock lock(t.fd, F_RDLCK);
        if (!lock.ok() || takeIn(table, &change) < 0) {
            hl_register_error(0, "CssBackend::load: Cannot read table %s from %s.\n", def(table).name.c_str(),
                              t.path.c_str());
            return -1;
        }
    }
    t.loaded = true;
    return 0;
}

// With the file locked, bring the copy up to the file: read what was added,
// or everything again when the file was replaced or shortened (*change
// kReplaced: record numbers may have moved) or changed in place (kReread).
int CssBackend::takeIn(int table, int* change)
{
    CssTable& t = tables_[static_cast<size_t>(table)];
    struct stat st;
    if (fstat(t.fd, &st) < 0) {
        hl_register_error(0, "CssBackend::takeIn: Cannot stat %s: %s.\n", t.path.c_str(), strerror(errno));
        return -1;
    }
    const size_t size = static_cast<size_t>(st.st_size);
    const bool same_file = st.st_dev == t.dev && st.st_ino == t.ino;
    const bool replaced = !same_file || size < t.known;
    const bool in_place = !replaced && size == t.known && !sameTime(st.st_mtim, t.mtime);
    *change = kUnchanged;
    t.rewritten_known = false;
    t.rewritten.clear();
    if (in_place && t.known > 0 && (patchNoted(table, st) || patchInPlace(table, size))) {
        // records rewritten in place by another handle: only they were taken in again
        *change = kReread;
        t.generation++;
        t.mtime = st.st_mtim;
        t.rewritten_known = true;
        return 0;
    }
    if (replaced || in_place) {
        *change = t.known == 0 ? kGrown : replaced ? kReplaced : kReread;
        t.rows.clear();
        t.generation++;
        t.known = 0;
        t.lines = 0;
        t.bad = 0;
    }
    if (size > t.known) {
        if (*change == kUnchanged)
            *change = kGrown;
        if (readFrom(table, t.known, size) < 0)
            return -1;
    }
    t.dev = st.st_dev;
    t.ino = st.st_ino;
    t.mtime = st.st_mtim;
    return 0;
}

// The file changed in place (same size, newer time): compare it with the
// copy and take in the changed lines only, so that a record rewritten by
// another process does not cost a read of every record.  False, with the
// copy possibly half patched, when lines were added, removed or moved, or a
// line changed from good to bad or back: the caller then reads it all again.
bool CssBackend::patchInPlace(int table, size_t size)
{
    CssTable& t = tables_[static_cast<size_t>(table)];
    constexpr size_t kChunk = 1 << 20;
    std::unique_ptr<char[]> chunk(new (std::nothrow) char[kChunk]);
    if (!chunk)
        return false;
    std::vector<size_t> lines;  // starts of the lines that changed, in file order
    for (size_t at = 0; at < size; at += kChunk) {
        const size_t n = std::min(kChunk, size - at);
        if (!preadAll(t.fd, chunk.get(), n, static_cast<off_t>(at)))
            return false;
        if (memcmp(chunk.get(), t.rows.at(at), n) == 0)
            continue;
        for (size_t i = 0; i < n; i += 64) {
            const size_t block = std::min<size_t>(64, n - i);
            if (memcmp(chunk.get() + i, t.rows.at(at + i), block) == 0)
                continue;
            for (size_t k = i; k < i + block; k++) {
                const char old_byte = *t.rows.at(at + k);
                if (chunk[k] == old_byte)
                    continue;
                if (chunk[k] == '\n' || old_byte == '\n')
                    return false;
                char* byte = t.rows.patch(at + k);
                if (!byte)
                    return false;
                *byte = chunk[k];
                size_t line = at + k;
                while (line > 0 && *t.rows.at(line - 1) != '\n')
                    line--;
                if (lines.empty() || lines.back() != line)
                    lines.push_back(line);
            }
        }
    }
    return recheckLines(table, size, lines);
}

// The changed lines of the copy (starts, in file order) must stay what they
// were, a record or a skipped line; the records among them are noted as
// rewritten.  False when one did not.
bool CssBackend::recheckLines(int table, size_t size, const std::vector<size_t>& lines)
{
    CssTable& t = tables_[static_cast<size_t>(table)];
    std::vector<long> records;
    int messages = kMessagesPerRead;  // nothing registered: a full read reports bad lines
    for (size_t line : lines) {
        const char* start = t.rows.at(line);
        const char* nl = static_cast<const char*>(memchr(start, '\n', size - line));
        if (!nl)
            return false;
        long lo = 0, hi = t.rows.count();
        while (lo < hi) {
            const long mid = lo + (hi - lo) / 2;
            if (t.rows.offset(mid) < line)
                lo = mid + 1;
            else
                hi = mid;
        }
        const bool was_record = lo < t.rows.count() && t.rows.offset(lo) == line;
        if (lineOk(table, start, static_cast<size_t>(nl - start), 0, &messages) != was_record)
            return false;
        if (was_record && (records.empty() || records.back() != lo))
            records.push_back(lo);
    }
    std::sort(records.begin(), records.end());
    records.erase(std::unique(records.begin(), records.end()), records.end());
    t.rewritten = std::move(records);
    return true;
}

// The file changed in place by writers of this process alone: read the
// records their notes name into the copy.  False when the notes do not
// account for the change, or a record is not where the copy has it; the
// caller then compares the whole file (records read here are the file's).
bool CssBackend::patchNoted(int table, const struct stat& st)
{
    CssTable& t = tables_[static_cast<size_t>(table)];
    std::vector<size_t> offsets;
    if (!rs_noted_rewrites(st.st_dev, st.st_ino, st.st_size, t.mtime, st.st_mtim, &offsets))
        return false;
    const size_t size = static_cast<size_t>(st.st_size);
    const size_t width = static_cast<size_t>(def(table).width);
    std::vector<char> line(width + 1);
    std::vector<size_t> lines;
    for (size_t offset : offsets) {
        // a line of the copy of the record's width, and so of the file's
        if (offset + width >= size || (offset > 0 && *t.rows.at(offset - 1) != '\n') ||
            *t.rows.at(offset + width) != '\n')
            return false;
        if (!preadAll(t.fd, line.data(), width + 1, static_cast<off_t>(offset)) || line[width] != '\n' ||
            memchr(line.data(), '\n', width))
            return false;
        char* record = t.rows.patch(offset);
        if (!record)
            return false;
        memcpy(record, line.data(), width);
        lines.push_back(offset);
    }
    std::sort(lines.begin(), lines.end());
    lines.erase(std::unique(lines.begin(), lines.end()), lines.end());
    return recheckLines(table, size, lines);
}

int CssBackend::refresh(int table)
{
    CssTable& t = tables_[static_cast<size_t>(table)];
    t.only_grew = false;
    if (!t.loaded)
        return load(table) < 0 ? -1 : 1;
    int opened = openFile(table, t.fd_writable);
    if (opened < 0)
        return -1;
    if (opened == 1)
        return 0;  // still no file
    int change = kUnchanged;
    FileLock lock(t.fd, F_RDLCK);
    if (!lock.ok() || takeIn(table, &change) < 0) {
        hl_register_error(0, "CssBackend::refresh: Cannot read %s.\n", t.path.c_str());
        return -1;
    }
    t.only_grew = change == kGrown;
    return change == kUnchanged ? 0 : 1;
}

int CssBackend::beginWrite(int table, const char* caller)
{
    if (!writable()) {
        hl_register_error(0, "%s: Database %s was opened read-only.\n", caller, base_.c_str());
        return -1;
    }
    if (load(table) < 0 || openFile(table, true) < 0) {
        hl_register_error(0, "%s: Cannot open table %s for writing.\n", caller, def(table).name.c_str());
        return -1;
    }
    return 0;
}

int CssBackend::flush(int table, bool sync)
{
    if (!sync || (mode_ & RS_NOSYNC))
        return 0;
    CssTable& t = tables_[static_cast<size_t>(table)];
    if (fdatasync(t.fd) < 0) {
        hl_register_error(0, "CssBackend::flush: Cannot flush %s: %s.\n", t.path.c_str(), strerror(errno));
        return -1;
    }
    return 0;
}

long CssBackend::appendLocked(int table, std::string_view text, bool sync)
{
    CssTable& t = tables_[static_cast<size_t>(table)];
    std::string line;
    // the file must end in a new line before a record can follow it
    if (t.known > 0 && *t.rows.at(t.known - 1) != '\n')
        line += '\n';
    line.append(text);
    line += '\n';
    const off_t at = static_cast<off_t>(t.known);
    ssize_t wrote;
    do {
        wrote = pwrite(t.fd, line.data(), line.size(), at);
    } while (wrote < 0 && errno == EINTR);
    if (wrote != static_cast<ssize_t>(line.size()) || flush(table, sync) < 0) {
        const int err = wrote < 0 ? errno : ENOSPC;
        if (ftruncate(t.fd, at) < 0) {
            hl_register_error(0, "CssBackend::append: Cannot take back a partial line of %s: %s.\n",
                              t.path.c_str(), strerror(errno));
        }
        hl_register_error(0, "CssBackend::append: Cannot write to %s: %s.\n", t.path.c_str(), strerror(err));
        return -1;
    }
    const long before = t.rows.count();
    const size_t from = t.known;
    if (t.rows.append(line.data(), line.size()) < 0) {
        t.loaded = false;  // read it all again next time
        hl_register_error(1, "CssBackend::append: Record written to %s, but out of memory.\n", t.path.c_str());
        return -1;
    }
    ingest(table, from);
    // a time of its own, so that a program writing the file in place later
    // within the same clock tick still changes the time (rsrewrites_p.h)
    struct timespec stamped;
    struct stat st;
    if (rs_stamp_rewrite(t.fd, t.mtime, &stamped, &st) || fstat(t.fd, &st) == 0)
        t.mtime = st.st_mtim;
    if (t.rows.count() != before + 1) {
        hl_register_error(0, "CssBackend::append: The record written to %s does not read back.\n", t.path.c_str());
        return -1;
    }
    return before;
}

int CssBackend::updateLocked(int table, long r, std::string_view text, const std::vector<int>& fields, bool sync)
{
    CssTable& t = tables_[static_cast<size_t>(table)];
    const RsTableDef& d = def(table);
    const size_t width = static_cast<size_t>(d.width);
    const size_t offset = t.rows.offset(r);
    // the file's record now, with whatever others changed in it
    std::string now(width + 1, '\0');
    if (!preadAll(t.fd, now.data(), width + 1, static_cast<off_t>(offset)) ||
        (now[width] != '\n' && now[width] != '\r')) {
        hl_register_error(0, "CssBackend::update: Record %ld of %s is no longer where it was.\n", r, t.path.c_str());
        return -1;
    }
    std::string line = now.substr(0, width);
    for (int i : fields) {
        const RsFieldDef& f = d.fields[static_cast<size_t>(i)];
        if (f.inText())
            line.replace(static_cast<size_t>(f.offset), static_cast<size_t>(f.width),
                         text.substr(static_cast<size_t>(f.offset), static_cast<size_t>(f.width)));
    }
    ssize_t wrote;
    do {
        wrote = pwrite(t.fd, line.data(), width, static_cast<off_t>(offset));
    } while (wrote < 0 && errno == EINTR);
    if (wrote != static_cast<ssize_t>(width) || flush(table, sync) < 0) {
        const int err = wrote < 0 ? errno : ENOSPC;
        if (wrote > 0 && pwrite(t.fd, now.data(), width, static_cast<off_t>(offset)) != static_cast<ssize_t>(width))
            hl_register_error(0, "CssBackend::update: Cannot restore record %ld of %s.\n", r, t.path.c_str());
        hl_register_error(0, "CssBackend::update: Cannot write to %s: %s.\n", t.path.c_str(), strerror(err));
        return -1;
    }
    if (!rs_same_key(d, std::string_view(now.data(), width), line))
        t.generation++;  // a key changed under a record already read
    if (char* record = t.rows.patch(offset)) {
        memcpy(record, line.data(), width);
    } else {
        t.loaded = false;  // read it all again next time
        hl_register_error(1, "CssBackend::update: Record written to %s, but out of memory.\n", t.path.c_str());
        return -1;
    }
    // the write's own time, and a note of it for the other handles of this
    // process; t.mtime is the file's time from before the write (the lock
    // is held since takeIn())
    RsRewriteNote note;
    note.before = t.mtime;
    note.offset = offset;
    struct stat st;
    note.own_time = rs_stamp_rewrite(t.fd, t.mtime, &note.after, &st);
    if (note.own_time || fstat(t.fd, &st) == 0) {
        t.mtime = st.st_mtim;
        note.dev = st.st_dev;
        note.ino = st.st_ino;
        note.size = st.st_size;
        note.after = st.st_mtim;
        rs_note_rewrite(note);
    }
    return 0;
}

long CssBackend::append(int table, std::string_view text)
{
    std::lock_guard<std::mutex> guard(writeMutex());
    if (beginWrite(table, "CssBackend::append") < 0)
        return -1;
    CssTable& t = tables_[static_cast<size_t>(table)];
    FileLock lock(t.fd, F_WRLCK);
    int change = kUnchanged;
    if (!lock.ok() || takeIn(table, &change) < 0) {
        hl_register_error(0, "CssBackend::append: Cannot lock %s.\n", t.path.c_str());
        return -1;
    }
    return appendLocked(table, text);
}

int CssBackend::update(int table, long r, std::string_view text, const std::vector<int>& fields)
{
    std::lock_guard<std::mutex> guard(writeMutex());
    if (beginWrite(table, "CssBackend::update") < 0)
        return -1;
    CssTable& t = tables_[static_cast<size_t>(table)];
    FileLock lock(t.fd, F_WRLCK);
    int change = kUnchanged;
    if (!lock.ok() || takeIn(table, &change) < 0) {
        hl_register_error(0, "CssBackend::update: Cannot lock %s.\n", t.path.c_str());
        return -1;
    }
    if (change == kReplaced || r < 0 || r >= t.rows.count()) {
        hl_register_error(0, "CssBackend::update: %s was rewritten by another program; record %ld is not written.\n",
                          t.path.c_str(), r);
        return -1;
    }
    return updateLocked(table, r, text, fields);
}

long CssBackend::put(int table, std::string_view text)
{
    std::lock_guard<std::mutex> guard(writeMutex());
    if (beginWrite(table, "CssBackend::put") < 0)
        return -1;
    CssTable& t = tables_[static_cast<size_t>(table)];
    FileLock lock(t.fd, F_WRLCK);
    int change = kUnchanged;
    if (!lock.ok() || takeIn(table, &change) < 0) {
        hl_register_error(0, "CssBackend::put: Cannot lock %s.\n", t.path.c_str());
        return -1;
    }
    const long r = findKey(table, text);
    if (r < 0)
        return appendLocked(table, text);
    std::vector<int> all;
    for (size_t i = 0; i < def(table).fields.size(); i++)
        all.push_back(static_cast<int>(i));
    return updateLocked(table, r, text, all) < 0 ? -1 : r;
}

long CssBackend::nextId(const char* name)
{
    const int table = schema_->tableIndex("lastid");
    if (table < 0) {
        hl_register_error(0, "CssBackend::nextId: Schema %s has no lastid table.\n", schema_->name.c_str());
        return -1;
    }
    std::lock_guard<std::mutex> guard(writeMutex());
    if (beginWrite(table, "CssBackend::nextId") < 0)
        return -1;
    CssTable& t = tables_[static_cast<size_t>(table)];
    FileLock lock(t.fd, F_WRLCK);
    int change = kUnchanged;
    if (!lock.ok() || takeIn(table, &change) < 0) {
        hl_register_error(0, "CssBackend::nextId: Cannot lock %s.\n", t.path.c_str());
        return -1;
    }
    long row = -1;
    std::string text;
    const long id = rs_lastid_record(this, table, name, &row, &text);
    if (id < 0)
        return -1;
    // see the head of the file
    const bool sync = !hasKeyTable(name);
    if (row >= 0) {
        std::vector<int> all;
        for (size_t i = 0; i < def(table).fields.size(); i++)
            all.push_back(static_cast<int>(i));
        if (updateLocked(table, row, text, all, sync) < 0)
            return -1;
    } else if (appendLocked(table, text, sync) < 0) {
        return -1;
    }
    return id;
}

}  // namespace

std::unique_ptr<RsBackend> rs_css_backend(const RsSchema* schema, const std::string& path_base, int mode)
{
    return std::make_unique<CssBackend>(schema, path_base, mode);
}

// ---- what belongs to flat files: changes by others, external files

int rscheck(Rsptr db)
{
    auto d = rs_database(db, "rscheck");
    if (!d)
        return -1;
    int changed = 0;
    for (size_t t = 0; t < d->schema->tables.size(); t++) {
        if (!d->backend->loaded(static_cast<int>(t)))
            continue;
        int r = d->backend->refresh(static_cast<int>(t));
        if (r < 0) {
            hl_register_error(0, "rscheck: Cannot read table %s again.\n", d->schema->tables[t].name.c_str());
            return -1;
        }
        changed += r;
    }
    return changed;
}

int rsextfile(Rsptr db, const char* table, char* filename)
{
    if (!filename) {
        hl_register_error(0, "rsextfile: No buffer for the file name.\n");
        return -1;
    }
    if (table) {
        db = rslookup(db, nullptr, table, nullptr, nullptr);
        if (rsisinvalid(db)) {
            hl_register_error(0, "rsextfile: No table %s.\n", table);
            return -1;
        }
    }
    RsTableRef ref;
    if (rs_table_ref(db, &ref, "rsextfile") < 0)
        return -1;
    const long record = ref.tableRecord(db.record);
    if (record == -1) {
        hl_register_error(0, "rsextfile: Record %ld is not a record of table %s.\n", db.record, ref.def->name.c_str());
        return -1;
    }
    const RsTableDef& d = *ref.def;
    const int fdir = d.fieldIndex("dir"), ffile = d.fieldIndex("dfile");
    if (fdir < 0 || ffile < 0 || !d.fields[static_cast<size_t>(fdir)].inText() ||
        !d.fields[static_cast<size_t>(ffile)].inText()) {
        hl_register_error(0, "rsextfile: Table %s has no fields dir and dfile.\n", d.name.c_str());
        return -1;
    }
    std::string_view text = ref.text(record);
    auto value = [&](int i) {
        const RsFieldDef& f = d.fields[static_cast<size_t>(i)];
        return std::string(rs_trim(text.substr(static_cast<size_t>(f.offset), static_cast<size_t>(f.width))));
    };
    std::filesystem::path dir(value(fdir));
    std::filesystem::path file(value(ffile));
    if (dir.is_relative()) {
        std::filesystem::path table_file(ref.db->backend->path(ref.table));
        if (table_file.empty())
            table_file = ref.db->name;
        dir = table_file.parent_path() / dir;
    }
    std::string path = (dir / file).lexically_normal().string();
    if (path.size() + 4 >= static_cast<size_t>(RS_STRSZ)) {
        hl_register_error(0, "rsextfile: File name of %zu characters is too long.\n", path.size());
        return -1;
    }
    struct stat st;
    int found = 0;
    if (stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode)) {
        found = 1;
    } else if (stat((path + ".gz").c_str(), &st) == 0 && S_ISREG(st.st_mode)) {
        path += ".gz";
        found = 2;
    }
    memcpy(filename, path.c_str(), path.size() + 1);
    return found;
}

int rsextfile_scratch(Rsptr db, const char* table, char* filename)
{
    db.record = RS_SCRATCH;
    return rsextfile(db, table, filename);
}
