#include "MarletCore/QueueModelExecutor.h"

#include <pthread.h>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

namespace marlet {

class QueueModelExecutor::Queue {
public:
    explicit Queue(std::string label) : thread([this, label = std::move(label)] { work(label); }) {}
    Queue(const Queue&) = delete;
    Queue& operator=(const Queue&) = delete;

    ~Queue() {
        {
            std::scoped_lock guard(lock);
            isEnding = true;
        }
        wake.notify_one();
        thread.join();
    }

    void add(std::function<void()> job) {
        {
            std::scoped_lock guard(lock);
            jobs.push_back(std::move(job));
        }
        wake.notify_one();
    }

    bool isCurrent() const { return std::this_thread::get_id() == thread.get_id(); }

private:
    void work(const std::string& label) {
        // Linux cuts names at 15 bytes; the end of a label tells more than its beginning.
        pthread_setname_np(pthread_self(), label.size() > 15 ? label.substr(label.size() - 15).c_str() : label.c_str());
        std::unique_lock guard(lock);
        while (true) {
            wake.wait(guard, [this] { return isEnding || !jobs.empty(); });
            if (jobs.empty()) {
                return;
            }
            std::function<void()> job = std::move(jobs.front());
            jobs.pop_front();
            guard.unlock();
            job();
            job = nullptr;
            guard.lock();
        }
    }

    std::mutex lock;
    std::condition_variable wake;
    std::deque<std::function<void()>> jobs;
    bool isEnding = false;
    std::thread thread;  // last: it uses all of the above
};

QueueModelExecutor::QueueModelExecutor(ModelContainer container, const std::string& label)
    : context(std::move(container)), queue(std::make_unique<Queue>(label)) {}

QueueModelExecutor::~QueueModelExecutor() = default;

ModelContext& QueueModelExecutor::modelContext() {
    return context;
}

void QueueModelExecutor::enqueue(std::function<void()> job) {
    queue->add(std::move(job));
}

bool QueueModelExecutor::isCurrent() const {
    return queue->isCurrent();
}

}  // namespace marlet
