#include "desktop/window/job.hpp"

namespace desktop {

bool Job::start(std::function<void()> work, std::function<void()> done) {
    if (running_) return false;
    if (thread_.joinable()) thread_.join();
    stop_ = false;
    running_ = true;
    thread_ = std::thread([this, work = std::move(work), done = std::move(done)]() mutable {
        work();
        // Queued to this object: when the job is destroyed first, Qt drops the call.
        QMetaObject::invokeMethod(
            this,
            [this, done = std::move(done)] {
                if (thread_.joinable()) thread_.join();
                showLatest();
                running_ = false;
                if (done) done();
                Q_EMIT finished();
            },
            Qt::QueuedConnection);
    });
    return true;
}

void Job::join() {
    stop_ = true;
    if (thread_.joinable()) thread_.join();
    running_ = false;
    const std::lock_guard guard(lock_);
    latest_ = nullptr;
}

void Job::post(std::function<void()> show) {
    {
        const std::lock_guard guard(lock_);
        latest_ = std::move(show);
        if (posted_) return;
        posted_ = true;
    }
    QMetaObject::invokeMethod(this, [this] { showLatest(); }, Qt::QueuedConnection);
}

void Job::showLatest() {
    std::function<void()> show;
    {
        const std::lock_guard guard(lock_);
        show = std::move(latest_);
        latest_ = nullptr;
        posted_ = false;
    }
    if (show) show();
}

}  // namespace desktop
