#pragma once
// One piece of work off the GUI thread: a read of a drive, a scan, a benchmark. The work
// runs on a thread of its own and hands what it has to the GUI thread through queued
// calls; `done` runs there once the work returned. Destroying the job asks it to stop and
// waits for it, so that no work outlives the page that started it.
#include <QObject>
#include <atomic>
#include <functional>
#include <mutex>
#include <thread>

namespace desktop {

class Job final : public QObject {
    Q_OBJECT

  public:
    explicit Job(QObject* parent = nullptr) : QObject(parent) {}
    ~Job() override { join(); }
    Job(const Job&) = delete;
    Job& operator=(const Job&) = delete;

    /// Starts `work` unless a work is under way; false when one is. `done` runs on the GUI
    /// thread after `work` returned, then `finished` is emitted.
    bool start(std::function<void()> work, std::function<void()> done);
    bool running() const { return running_; }
    /// Asks the work to stop at its next look (`stopRequested`).
    void stop() { stop_ = true; }
    bool stopRequested() const { return stop_; }
    /// Stops the work and waits for its thread; `done` isn't run.
    void join();

    /// From the work's thread: `show` runs on the GUI thread. Calls made while an earlier
    /// one still waits to run replace it, so a fast worker never floods the event queue.
    void post(std::function<void()> show);

  Q_SIGNALS:
    void finished();

  private:
    void showLatest();

    std::thread thread_;
    std::atomic<bool> stop_{false};
    bool running_ = false;
    std::mutex lock_;
    std::function<void()> latest_;
    bool posted_ = false;
};

}  // namespace desktop
