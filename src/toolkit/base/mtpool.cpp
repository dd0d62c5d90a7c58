#include "toolkit/base/mtpool.h"

#include "toolkit/base/errors.h"

#include <condition_variable>
#include <memory>
#include <mutex>
#include <new>
#include <thread>
#include <vector>

namespace {

struct Worker
{
    Mtpool_proc proc = nullptr;
    void* user_data = nullptr;
    long offset = 0;
    long number = 0;
    unsigned long start_generation = 0;  // the run count when the worker was added
    std::thread thread;
};

} // namespace

struct Mtpool
{
    std::mutex mutex;
    std::condition_variable start_cv;
    std::condition_variable done_cv;
    std::vector<std::unique_ptr<Worker>> workers;
    unsigned long generation = 0;  // incremented for each run
    int running = 0;               // workers still busy in this run
    bool stopping = false;
};

namespace {

void workerLoop(Mtpool* pool, Worker* w)
{
    unsigned long seen = w->start_generation;
    for (;;) {
        long offset, number;
        {
            std::unique_lock<std::mutex> lock(pool->mutex);
            pool->start_cv.wait(lock, [&] { return pool->stopping || pool->generation != seen; });
            if (pool->stopping)
                return;
            seen = pool->generation;
            offset = w->offset;
            number = w->number;
        }
        if (number > 0)
            w->proc(offset, number, w->user_data);
        {
            std::lock_guard<std::mutex> lock(pool->mutex);
            if (--pool->running == 0)
                pool->done_cv.notify_all();
        }
    }
}

} // namespace

Mtpool* mtpool_create()
{
    Mtpool* pool = new (std::nothrow) Mtpool;
    if (!pool)
        hl_register_error(1, "mtpool_create: Out of memory.\n");
    return pool;
}

int mtpool_addthread(Mtpool* pool, Mtpool_proc proc, int count, int /*flags*/, void* user_data)
{
    if (!pool || !proc || count < 1) {
        hl_register_error(0, "mtpool_addthread: Null pool or procedure, or count %d below 1.\n", count);
        return -1;
    }
    for (int i = 0; i < count; i++) {
        auto w = std::make_unique<Worker>();
        w->proc = proc;
        w->user_data = user_data;
        Worker* raw = w.get();
        try {
            // the worker starts from the run count of now, so a run started
            // before its thread first takes the lock is not missed
            std::lock_guard<std::mutex> lock(pool->mutex);
            w->start_generation = pool->generation;
            w->thread = std::thread(workerLoop, pool, raw);
            pool->workers.push_back(std::move(w));
        } catch (const std::exception&) {
            hl_register_error(1, "mtpool_addthread: Unable to start a thread.\n");
            return -1;
        }
    }
    return 0;
}

int mtpool_threadcount(Mtpool* pool)
{
    if (!pool)
        return -1;
    std::lock_guard<std::mutex> lock(pool->mutex);
    return static_cast<int>(pool->workers.size());
}

int mtpool_processthreads(Mtpool* pool, long start, long number)
{
    if (!pool) {
        hl_register_error(0, "mtpool_processthreads: Null pool.\n");
        return -1;
    }
    if (number < 0) {
        hl_register_error(0, "mtpool_processthreads: Negative count %ld.\n", number);
        return -1;
    }
    std::unique_lock<std::mutex> lock(pool->mutex);
    long n = static_cast<long>(pool->workers.size());
    if (n == 0) {
        hl_register_error(0, "mtpool_processthreads: The pool has no threads.\n");
        return -1;
    }
    // contiguous slices; the first (number % n) workers take one more
    long base = number / n, extra = number % n, offset = start;
    for (long i = 0; i < n; i++) {
        Worker* w = pool->workers[i].get();
        w->offset = offset;
        w->number = base + (i < extra ? 1 : 0);
        offset += w->number;
    }
    pool->running = static_cast<int>(n);
    pool->generation++;
    pool->start_cv.notify_all();
    pool->done_cv.wait(lock, [pool] { return pool->running == 0; });
    return 0;
}

void mtpool_destroy(Mtpool* pool)
{
    if (!pool)
        return;
    {
        std::lock_guard<std::mutex> lock(pool->mutex);
        pool->stopping = true;
    }
    pool->start_cv.notify_all();
    for (auto& w : pool->workers)
        if (w->thread.joinable())
            w->thread.join();
    delete pool;
}
