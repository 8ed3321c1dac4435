#include "KQFoundation/System/DispatchQueue.h"

#include <pthread.h>

#include <algorithm>
#include <condition_variable>
#include <cstdlib>
#include <deque>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>

#include "KQFoundation/Foundation/Log.h"
#include "Foundation/LoggedCall.h"

namespace kq {

namespace {

// A throwing block must not take its worker (and every later block) with it.
void runCatching(const std::string& label, const std::function<void()>& block) {
    detail::callLoggingExceptions([&] { return "DispatchQueue " + label + ": a block"; }, block);
}

// The shared workers: max(2, hardware threads), started only when work
// waits and no worker is free. Never destroyed: at exit the workers stop
// taking work and the process ends under any block still running, so exit
// neither hangs on queued work nor destroys a pool that a worker still uses.
class ThreadPool {
public:
    static ThreadPool& shared() {
        static ThreadPool* pool = new ThreadPool;
        return *pool;
    }

    void submit(std::function<void()> job) {
        std::lock_guard lock(mutex_);
        if (stopping_) return;
        jobs_.push_back(std::move(job));
        if (jobs_.size() > idle_ && threads_ < maximumThreads_) {
            try {
                std::thread(&ThreadPool::work, this).detach();
                ++threads_;
            } catch (const std::system_error& e) {
                // The workers already running take the job later; with none, it waits for the next try.
                kq::log("DispatchQueue: cannot start a worker thread: %s", e.what());
            }
        }
        wake_.notify_one();
    }

private:
    ThreadPool() : maximumThreads_(std::max(2u, std::thread::hardware_concurrency())) {
        std::atexit([] { shared().stop(); });
        // A forked child has none of the parent's threads: it starts its own.
        pthread_atfork([] { shared().mutex_.lock(); }, [] { shared().mutex_.unlock(); },
                       [] {
                           ThreadPool& pool = shared();
                           pool.threads_ = 0;
                           pool.idle_ = 0;
                           pool.mutex_.unlock();
                       });
    }

    void stop() {
        std::lock_guard lock(mutex_);
        stopping_ = true;
        wake_.notify_all();
    }

    void work() {
        std::unique_lock lock(mutex_);
        for (;;) {
            ++idle_;
            wake_.wait(lock, [this] { return stopping_ || !jobs_.empty(); });
            --idle_;
            if (stopping_) return;
            std::function<void()> job = std::move(jobs_.front());
            jobs_.pop_front();
            lock.unlock();
            job();
            job = nullptr;  // what the block captured goes now, not with the next job
            lock.lock();
        }
    }

    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<std::function<void()>> jobs_;
    std::size_t idle_ = 0;
    unsigned threads_ = 0;
    const unsigned maximumThreads_;
    bool stopping_ = false;
};

class ConcurrentQueue final : public DispatchQueue {
public:
    void async(std::function<void()> block) override {
        ThreadPool::shared().submit([this, block = std::move(block)] { runCatching(label(), block); });
    }
    const std::string& label() const override { return label_; }

private:
    const std::string label_ = "global";
};

// The serial queue whose block this thread is running, if any.
thread_local const DispatchQueue* runningSerialQueue = nullptr;

class ScopedRunning {
public:
    explicit ScopedRunning(const DispatchQueue* queue) : previous_(runningSerialQueue) { runningSerialQueue = queue; }
    ~ScopedRunning() { runningSerialQueue = previous_; }
    ScopedRunning(const ScopedRunning&) = delete;
    ScopedRunning& operator=(const ScopedRunning&) = delete;

private:
    const DispatchQueue* previous_;
};

// A waiting sync() caller's place in a serial queue: when the queue gets
// there it hands itself over, the caller runs the block on its own thread
// and then lets the queue go on.
struct SyncTurn {
    std::mutex mutex;
    std::condition_variable reached;
    bool granted = false;

    void grant() {
        std::lock_guard lock(mutex);
        granted = true;
        reached.notify_one();
    }
    void wait() {
        std::unique_lock lock(mutex);
        reached.wait(lock, [this] { return granted; });
    }
};

// Runs one block at a time on the shared workers, one job per block so that
// a busy queue does not hold a worker for long. Each job holds the queue, so
// it lives until its last block has run.
class SerialQueue final : public DispatchQueue, public std::enable_shared_from_this<SerialQueue> {
public:
    explicit SerialQueue(std::string label) : label_(std::move(label)) {}

    void async(std::function<void()> block) override {
        std::lock_guard lock(mutex_);
        items_.push_back({std::move(block), nullptr});
        if (!active_) {
            active_ = true;
            schedule();
        }
    }

    const std::string& label() const override { return label_; }

    void runSync(const std::function<void()>& block) {
        if (runningSerialQueue == this) {
            // Waiting for ourselves would never end.
            kq::log("DispatchQueue %s: sync called from the queue's own block; running it in place", label_);
            block();
            return;
        }
        std::shared_ptr<SyncTurn> turn;
        {
            std::lock_guard lock(mutex_);
            if (active_) {
                turn = std::make_shared<SyncTurn>();
                items_.push_back({nullptr, turn});
            } else {
                active_ = true;
            }
        }
        if (turn) turn->wait();
        struct Resume {
            SerialQueue* queue;
            ~Resume() { queue->resume(); }
        } resume{this};
        ScopedRunning running(this);
        block();  // exceptions reach the caller, after the queue has moved on
    }

private:
    struct Item {
        std::function<void()> block;
        std::shared_ptr<SyncTurn> turn;
    };

    void schedule() {  // with mutex_ held
        ThreadPool::shared().submit([self = shared_from_this()] { self->runNext(); });
    }

    void runNext() {
        Item item;
        {
            std::lock_guard lock(mutex_);
            item = std::move(items_.front());
            items_.pop_front();
        }
        if (item.turn) {
            item.turn->grant();  // the caller resumes the queue when its block is done
            return;
        }
        {
            ScopedRunning running(this);
            runCatching(label_, item.block);
        }
        item.block = nullptr;
        resume();
    }

    void resume() {
        std::lock_guard lock(mutex_);
        if (items_.empty()) active_ = false;
        else schedule();
    }

    const std::string label_;
    std::mutex mutex_;
    std::deque<Item> items_;
    bool active_ = false;  // a block is scheduled or running, or a sync caller holds the queue
};

}  // namespace

std::shared_ptr<DispatchQueue> DispatchQueue::globalQueue() {
    // Kept for the whole process, exit included, like the pool under it.
    static auto* queue = new std::shared_ptr<DispatchQueue>(std::make_shared<ConcurrentQueue>());
    return *queue;
}

std::shared_ptr<DispatchQueue> DispatchQueue::createSerialQueue(std::string label) {
    return std::make_shared<SerialQueue>(std::move(label));
}

void DispatchQueue::sync(const std::function<void()>& block) {
    if (auto* serial = dynamic_cast<SerialQueue*>(this)) return serial->runSync(block);
    // A concurrent queue would run it at once anyway; the caller's thread waits in any case.
    if (dynamic_cast<ConcurrentQueue*>(this)) return block();

    // Any other queue: hand the block over and wait, passing on what it throws.
    std::mutex mutex;
    std::condition_variable finished;
    bool done = false;
    std::exception_ptr failure;
    async([&] {
        try {
            block();
        } catch (...) {
            failure = std::current_exception();
        }
        std::lock_guard lock(mutex);
        done = true;
        finished.notify_one();
    });
    std::unique_lock lock(mutex);
    finished.wait(lock, [&] { return done; });
    if (failure) std::rethrow_exception(failure);
}

}  // namespace kq
