#include "toolkit/base/mtqueue.h"

#include "toolkit/base/errors.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <new>

struct Mtqueue
{
    std::mutex mutex;
    std::condition_variable not_empty;
    std::condition_variable not_full;
    std::deque<void*> entries;
    size_t max_entries = 1;
    bool block = false;
    bool released = false;
};

Mtqueue* mtqueue_create(int maxqueue, int block, int flags)
{
    if (maxqueue < 1 || flags != 0) {
        hl_register_error(0, "mtqueue_create: Bad size %d or flags %d.\n", maxqueue, flags);
        return nullptr;
    }
    Mtqueue* q = new (std::nothrow) Mtqueue;
    if (!q) {
        hl_register_error(1, "mtqueue_create: Out of memory.\n");
        return nullptr;
    }
    q->max_entries = static_cast<size_t>(maxqueue);
    q->block = block != 0;
    return q;
}

int mtqueue_push(Mtqueue* q, void* value)
{
    if (!q) {
        hl_register_error(0, "mtqueue_push: Null queue.\n");
        return -1;
    }
    std::unique_lock<std::mutex> lock(q->mutex);
    if (q->block)
        q->not_full.wait(lock, [q] { return q->entries.size() < q->max_entries || q->released; });
    if (q->entries.size() >= q->max_entries) {
        hl_register_error(0, "mtqueue_push: Queue full.\n");
        return -1;
    }
    q->entries.push_back(value);
    lock.unlock();
    q->not_empty.notify_one();
    return 0;
}

int mtqueue_pop(Mtqueue* q, void** value)
{
    if (!q || !value) {
        hl_register_error(0, "mtqueue_pop: Null queue or value pointer.\n");
        return -1;
    }
    std::unique_lock<std::mutex> lock(q->mutex);
    if (q->block)
        q->not_empty.wait(lock, [q] { return !q->entries.empty() || q->released; });
    if (q->entries.empty())
        return 0;
    *value = q->entries.front();
    q->entries.pop_front();
    lock.unlock();
    q->not_full.notify_one();
    return 1;
}

int mtqueue_data_available(Mtqueue* q)
{
    if (!q) {
        hl_register_error(0, "mtqueue_data_available: Null queue.\n");
        return -1;
    }
    std::lock_guard<std::mutex> lock(q->mutex);
    return static_cast<int>(q->entries.size());
}

int mtqueue_release_block(Mtqueue* q)
{
    if (!q) {
        hl_register_error(0, "mtqueue_release_block: Null queue.\n");
        return -1;
    }
    {
        std::lock_guard<std::mutex> lock(q->mutex);
        q->released = true;
    }
    q->not_empty.notify_all();
    q->not_full.notify_all();
    return 0;
}

void mtqueue_destroy(Mtqueue* q, Mtqueue_free_proc free_proc)
{
    if (!q)
        return;
    if (free_proc)
        for (void* v : q->entries)
            free_proc(v);
    delete q;
}
