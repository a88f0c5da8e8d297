#pragma once
// Stand-ins for platform interfaces that many tests need alike: a clock that moves only
// when a test moves it, an NVMe controller that answers with pages read from a real one,
// a sysfs tree and a mount table held in memory, and volumes that only record what they
// were asked. Test code only.
#include <chrono>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/bytes.hpp"
#include "platform/clock.hpp"
#include "platform/mounts.hpp"
#include "platform/nvme_admin.hpp"
#include "platform/sysfs.hpp"
#include "platform/volumes.hpp"

namespace platform::doubles {

/// The bytes of a file under the tests' data folder ("nvme/qemu-7.2-smart-log.bin").
inline Bytes dataFile(const std::string& path) {
    std::ifstream in(std::string(VANTREL_TEST_DATA) + "/" + path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

/// Wall time stands at `wall`; steady time moves by `advance` and by `tick` at each look.
class TestClock final : public Clock {
  public:
    TestClock() = default;
    explicit TestClock(std::chrono::system_clock::time_point at) : wall(at) {}

    std::chrono::system_clock::time_point now() const override { return wall; }
    std::chrono::steady_clock::time_point steadyNow() const override { return steady += tick; }
    void advance(double seconds) {
        steady += std::chrono::duration_cast<std::chrono::steady_clock::duration>(
            std::chrono::duration<double>(seconds));
    }

    std::chrono::system_clock::time_point wall{};
    mutable std::chrono::steady_clock::time_point steady{};
    std::chrono::steady_clock::duration tick{};
};

/// A controller that answers with QEMU 7.2's pages, or with `failure` to every command.
class ScriptedNVMe final : public NVMeAdmin {
  public:
    Bytes log = dataFile("nvme/qemu-7.2-smart-log.bin");
    Bytes identify = dataFile("nvme/qemu-7.2-id-ctrl.bin");
    std::optional<NVMeAdminFailure> failure;

    NVMeAdminReply smartLog(std::string_view) override { return answer(log); }
    NVMeAdminReply identifyController(std::string_view) override { return answer(identify); }

  private:
    NVMeAdminReply answer(const Bytes& page) const {
        if (failure) return Unexpected(*failure);
        return page;
    }
};

/// A sysfs tree of attribute files and folders with their entries, without links: every
/// path resolves to itself.
class MapSysfs final : public Sysfs {
  public:
    std::map<std::string, std::string, std::less<>> files;
    std::map<std::string, std::vector<std::string>, std::less<>> folders;

    /// A whole disk with its device numbers ("8:16") and partitions, nothing stacked on them.
    void disk(const std::string& name, const std::string& numbers, const std::vector<std::string>& parts) {
        const std::string base = blockPath(name);
        files[base + "/dev"] = numbers;
        folders[base] = parts;
        folders[base + "/holders"] = {};
        for (const auto& part : parts) {
            files[base + "/" + part + "/partition"] = "1";
            folders[blockPath(part)] = {};
            folders[blockPath(part) + "/holders"] = {};
            folders[base + "/" + part + "/holders"] = {};
        }
    }

    std::optional<std::string> read(std::string_view path) const override {
        const auto it = files.find(path);
        if (it == files.end()) return std::nullopt;
        return it->second;
    }
    std::vector<std::string> list(std::string_view path) const override {
        const auto it = folders.find(path);
        return it == folders.end() ? std::vector<std::string>{} : it->second;
    }
    bool exists(std::string_view path) const override { return files.contains(path) || folders.contains(path); }
    std::optional<std::string> readLink(std::string_view) const override { return std::nullopt; }
    std::optional<std::string> resolve(std::string_view path) const override {
        if (!exists(path)) return std::nullopt;
        return std::string(path);
    }
};

/// The mount table as the test sets it.
class TableMounts final : public Mounts {
  public:
    std::vector<Mount> table;
    std::vector<Mount> list() const override { return table; }
};

/// Every call in order; a call named in `failures` ("unmount sdb") answers that failure.
class RecordedVolumes final : public Volumes {
  public:
    std::vector<std::string> calls;
    std::map<std::string, UnmountFailure, std::less<>> failures;

    Result<void, UnmountFailure> unmountWhole(std::string_view disk, double) override {
        return step("unmount ", disk);
    }
    std::vector<std::string> mountWhole(std::string_view disk) override {
        calls.push_back("mount " + std::string(disk));
        return {};
    }
    Result<void, UnmountFailure> stopArray(std::string_view array, double) override {
        return step("stop ", array);
    }
    Result<void, UnmountFailure> powerOff(std::string_view disk, double) override {
        return step("power off ", disk);
    }

  private:
    Result<void, UnmountFailure> step(std::string_view what, std::string_view device) {
        calls.push_back(std::string(what) + std::string(device));
        if (const auto it = failures.find(calls.back()); it != failures.end()) return Unexpected(it->second);
        return {};
    }
};

/// The processes `held` hold every mount point asked about; the questions are kept.
class ListedHolders final : public FileHolders {
  public:
    std::vector<FileHolder> held;
    mutable std::vector<std::vector<std::string>> askedAbout;

    std::vector<FileHolder> holding(const std::vector<std::string>& points) const override {
        askedAbout.push_back(points);
        return held;
    }
};

}  // namespace platform::doubles
