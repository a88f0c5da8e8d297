#include "app/writes/app_writes.hpp"

#include "platform/file_store.hpp"

#include <condition_variable>
#include <fstream>
#include <mutex>
#include <sstream>
#include <system_error>

#include "drivekit/core/json.hpp"
#include "drivekit/core/text.hpp"

namespace app {

AppWritesFiles AppWritesFiles::in(const std::filesystem::path& dataFolder) {
    return {dataFolder / "writes-slots.json", dataFolder / "writes-days.json"};
}

namespace WritesFiles {

namespace {

// One list from one file; `writable` says whether the next save may replace the file.
std::vector<drivekit::WriteBucket> loadOne(const std::filesystem::path& path, bool& writable,
                                           const std::function<void(const std::string&)>& log) {
    const auto say = [&](const std::string& line) {
        if (log) log(line);
    };
    writable = true;
    std::error_code error;
    if (!std::filesystem::exists(path, error) && !error) return {};
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    if (in.is_open()) text << in.rdbuf();
    if (!in.is_open() || in.bad() || error) {
        writable = false;
        say(drivekit::text::format("couldn't read %s: %s", path.filename().c_str(),
                                   error ? error.message().c_str() : "the read failed"));
        return {};
    }
    auto decoded = drivekit::WriteBucketsFile::decode(text.str());
    if (decoded) return std::move(decoded).value();
    if (decoded.error().kind == drivekit::WriteBucketsFile::Problem::Kind::newerVersion) {
        writable = false;
        say(drivekit::text::format("%s is version %lld, from a newer Vantrel: left as it is", path.filename().c_str(),
                                   static_cast<long long>(decoded.error().version)));
        return {};
    }
    say(drivekit::text::format("%s is damaged; starting it again", path.filename().c_str()));
    return {};
}

// The one place the history files are written: whole, through a temporary file that is
// synced and renamed over the old one, then the folder synced.
bool writeWhole(const std::filesystem::path& path, const std::string& contents) {
    return static_cast<bool>(platform::systemFiles().replace(path, contents));
}

}  // namespace

LoadedWrites load(const AppWritesFiles& files, const std::function<void(const std::string&)>& log) {
    LoadedWrites loaded;
    loaded.history.slots = loadOne(files.slots, loaded.slotsWritable, log);
    loaded.history.days = loadOne(files.days, loaded.daysWritable, log);
    loaded.history.sort();
    return loaded;
}

std::optional<std::string> save(const AppWritesFiles& files, const LoadedWrites& state) {
    std::error_code error;
    std::filesystem::create_directories(files.slots.parent_path(), error);
    const auto failed = [](const std::filesystem::path& path) {
        return drivekit::text::format("couldn't save the writes history: %s", path.c_str());
    };
    if (error) return failed(files.slots.parent_path());
    if (state.slotsWritable && !writeWhole(files.slots, drivekit::WriteBucketsFile::encode(state.history.slots))) {
        return failed(files.slots);
    }
    if (state.daysWritable && !writeWhole(files.days, drivekit::WriteBucketsFile::encode(state.history.days))) {
        return failed(files.days);
    }
    return std::nullopt;
}

}  // namespace WritesFiles

AppWrites::AppWrites(Options options, const platform::Clock& clock)
    : options_(std::move(options)), clock_(clock), state_(options_.source ? State::starting : State::unavailable) {
    if (options_.files) loaded_ = WritesFiles::load(*options_.files, options_.log);
}

void AppWrites::step() {
    if (!options_.source) return;
    const auto now = clock_.now();
    auto processes = options_.source->snapshot();
    if (!processes) {
        // The ledger stays: an answer within 900 seconds still makes an interval.
        state_ = State::helperFailed;
        return;
    }
    const std::optional<std::uint64_t> drive = options_.driveWritten ? options_.driveWritten() : std::nullopt;
    state_ = State::counting;
    if (auto interval = ledger_.take({now, std::move(*processes), drive})) {
        loaded_.history.add(*interval, options_.calendar);
        latest_ = std::move(interval);
    }
    const auto hour = options_.calendar.startOfHour(now);
    if (hour != hourSeen_) {
        roll(options_.daysToKeep);
        hourSeen_ = hour;
    }
}

void AppWrites::roll(int daysToKeep) {
    loaded_.history.compact(clock_.now(), options_.calendar, daysToKeep);
    if (!options_.files) return;
    if (const auto failure = WritesFiles::save(*options_.files, loaded_); failure && options_.log) {
        options_.log(*failure);
    }
}

void AppWrites::run(const std::function<bool(std::chrono::seconds)>& wait) {
    if (state_ == State::unavailable) return;
    do {
        step();
    } while (wait(kStep));
}

struct WritesLoop::Shared {
    std::mutex lock;
    std::condition_variable woken;
    bool stopping = false;
    std::optional<std::uint64_t> driveWritten;
};

WritesLoop::WritesLoop(AppWrites::Options options, const platform::Clock& clock)
    : shared_(std::make_shared<Shared>()) {
    options.driveWritten = [shared = shared_]() -> std::optional<std::uint64_t> {
        const std::lock_guard hold(shared->lock);
        return shared->driveWritten;
    };
    // The counters live on the loop's thread alone: it builds, steps and saves them.
    thread_ = std::thread([shared = shared_, options = std::move(options), &clock]() mutable {
        AppWrites writes(std::move(options), clock);
        writes.run([&shared](std::chrono::seconds pause) {
            std::unique_lock hold(shared->lock);
            return !shared->woken.wait_for(hold, pause, [&] { return shared->stopping; });
        });
    });
}

WritesLoop::~WritesLoop() {
    {
        const std::lock_guard hold(shared_->lock);
        shared_->stopping = true;
    }
    shared_->woken.notify_all();
    if (thread_.joinable()) thread_.join();
}

void WritesLoop::setDriveWritten(std::optional<std::uint64_t> bytes) {
    const std::lock_guard hold(shared_->lock);
    shared_->driveWritten = bytes;
}

namespace WritesWording {

std::string stateLine(AppWrites::State state) {
    // The Linux truth of the page's sentences: the kernel's per-process count is the one
    // iotop shows; until the privileged service exists, only root can read every process.
    switch (state) {
        case AppWrites::State::unavailable:
            return "Counting every program’s writes needs root until Vantrel’s privileged service is installed. "
                   "Run it with sudo.";
        case AppWrites::State::starting:
            return "Counting has started. The first figures come in 30 seconds.";
        case AppWrites::State::counting:
            return "Each app’s write count, the one iotop shows, read by Vantrel’s helper every 30 seconds. "
                   "It stays on this computer.";
        case AppWrites::State::helperFailed:
            return "Vantrel’s helper didn’t answer. It tries again in 30 seconds.";
    }
    return {};
}

}  // namespace WritesWording

}  // namespace app
