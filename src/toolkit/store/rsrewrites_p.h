// Records that this process rewrote in place in table files, so that
// another handle of the same file (the event server's) takes in just those
// lines instead of comparing the whole file with its copy.
//
// Every write of the store gives the file a modification time of its own
// (a fine-grained time later than the one before), and the note of an
// in-place rewrite holds the file's time before and after the write.  A reader that knows the file at
// one time and finds it at another follows the notes back from the time
// now; it trusts them only when they chain up to the time it knows without
// a gap and the file kept its size.  A write by anybody else (another
// process, or a writer that could not set the time) breaks the chain, and
// the reader compares the whole file as before.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>
#include <ctime>
#include <vector>

struct RsRewriteNote
{
    dev_t dev = 0;
    ino_t ino = 0;
    off_t size = 0;                  // the file's size, the same before and after
    struct timespec before = {0, 0};  // modification time before the write
    struct timespec after = {0, 0};   // ... and after it
    size_t offset = 0;               // first byte of the rewritten record
    bool own_time = false;           // the write's time was set to one of its own
};

// Note a rewrite.  Thread-safe; the oldest notes are dropped past a bound.
void rs_note_rewrite(const RsRewriteNote& note);

// The offsets of the records rewritten in file (dev, ino) of size bytes
// while its modification time went from `from` to `to`, oldest first, as
// the notes tell.  False when they do not account for every change.
bool rs_noted_rewrites(dev_t dev, ino_t ino, off_t size, const struct timespec& from, const struct timespec& to,
                       std::vector<size_t>* offsets);

// Give the file a modification time of its own, later than `was` and not
// before now.  The time set in *now, and the file's status after it in
// *after when not null; false when it could not be set (the file belongs
// to somebody else), *now and *after then untouched.
bool rs_stamp_rewrite(int fd, const struct timespec& was, struct timespec* now, struct stat* after = nullptr);
