#include "app/writes/writes_source.hpp"

#include <future>
#include <thread>

#include "drivekit/core/text.hpp"

namespace app {

std::optional<std::vector<drivekit::ProcessWrites>> DirectWritesSource::snapshot() {
    auto processes = drivekit::ProcessWritesReader::snapshot(*proc_);
    // /proc always lists this process itself; an empty answer means /proc isn't there.
    if (processes.empty()) return std::nullopt;
    return processes;
}

TimedWritesSource::TimedWritesSource(std::shared_ptr<WritesSource> inner, std::chrono::milliseconds timeout,
                                     std::function<void(const std::string&)> log)
    : inner_(std::move(inner)), timeout_(timeout), log_(std::move(log)) {}

std::optional<std::vector<drivekit::ProcessWrites>> TimedWritesSource::snapshot() {
    using Answer = std::optional<std::vector<drivekit::ProcessWrites>>;
    auto promise = std::make_shared<std::promise<Answer>>();
    auto answer = promise->get_future();
    // The thread holds the source and the promise, so a late answer lands in a promise
    // nobody waits on any more.
    std::thread([inner = inner_, promise] { promise->set_value(inner->snapshot()); }).detach();
    if (answer.wait_for(timeout_) != std::future_status::ready) {
        if (log_) {
            log_(drivekit::text::format("helper: no answer in %f s",
                                        std::chrono::duration<double>(timeout_).count()));
        }
        return std::nullopt;
    }
    return answer.get();
}

WritesAccess WritesAccess::forUser(bool root, std::shared_ptr<const platform::ProcFiles> proc,
                                   std::shared_ptr<WritesSource> service) {
    if (!root) return {std::move(service)};
    return {std::make_shared<DirectWritesSource>(std::move(proc))};
}

}  // namespace app
