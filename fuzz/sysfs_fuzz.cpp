// Discovery over a sysfs tree whose attribute values are arbitrary text: the shipped demo
// machine's tree (NVMe, SATA, USB, SD, RAID), with values the input picks replaced by
// its bytes. Sizes, link speeds and widths, USB ports and speeds, removable flags,
// statistics and RAID states are all read from such text on a real machine.
//
// Input: one byte choosing the disk to read, then records of one byte choosing an
// attribute (modulo their number) followed by its new value up to the next NUL.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <string_view>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "drivekit/discovery/discovery.hpp"
#include "platform/demo/demo_machine.hpp"
#include "platform/sysfs.hpp"

namespace {

// The shipped tree with some attribute files answering other text. Paths are compared
// after the tree resolves them, so a replaced attribute answers under every link to it.
class Overlay final : public platform::Sysfs {
  public:
    Overlay(const platform::Sysfs& base, const std::map<std::string, std::string>& replaced)
        : base_(base), replaced_(replaced) {}

    std::optional<std::string> read(std::string_view path) const override {
        if (const auto real = base_.resolve(path)) {
            if (const auto it = replaced_.find(*real); it != replaced_.end()) return it->second;
        }
        return base_.read(path);
    }
    std::vector<std::string> list(std::string_view path) const override { return base_.list(path); }
    bool exists(std::string_view path) const override { return base_.exists(path); }
    std::optional<std::string> readLink(std::string_view path) const override {
        return base_.readLink(path);
    }
    std::optional<std::string> resolve(std::string_view path) const override {
        return base_.resolve(path);
    }

  private:
    const platform::Sysfs& base_;
    const std::map<std::string, std::string>& replaced_;
};

struct Base {
    std::unique_ptr<platform::DemoMachine> machine;
    std::vector<std::string> files;  // the attribute files, resolved
    std::vector<std::string> disks;
};

const Base& base() {
    static const Base loaded = [] {
        Base made;
        const std::string file = std::string(VANTREL_DEMO_DATA) + "/machine.json";
        auto machine = platform::DemoMachine::load(file);
        if (!machine) std::abort();
        made.machine = std::move(machine).value();
        std::ifstream in(file);
        const auto root = nlohmann::json::parse(in);
        for (const auto& [folder, entries] : root["sysfs"].items()) {
            for (const auto& [name, value] : entries.items()) {
                if (!value.is_string()) continue;
                if (auto real = made.machine->sysfs().resolve(folder + "/" + name)) {
                    made.files.push_back(*real);
                }
            }
        }
        made.disks = made.machine->sysfs().list("/sys/class/block");
        if (made.files.empty() || made.disks.empty()) std::abort();
        return made;
    }();
    return loaded;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Base& tree = base();
    if (size < 1) return 0;
    // The first byte picks the disk read; records follow.
    const std::string& disk = tree.disks[data[0] % tree.disks.size()];
    std::map<std::string, std::string> replaced;
    std::size_t at = 1;
    while (at < size) {
        const std::string& chosen = tree.files[data[at] % tree.files.size()];
        std::size_t end = at + 1;
        while (end < size && data[end] != 0) ++end;
        replaced[chosen].assign(reinterpret_cast<const char*>(data + at + 1), end - at - 1);
        at = end + 1;
    }
    const Overlay sysfs(tree.machine->sysfs(), replaced);
    const drivekit::Discovery::Sources sources{sysfs, tree.machine->mounts(),
                                               tree.machine->blockProbe(), "/home/demo",
                                               drivekit::Locale{}};
    if (const auto drive = drivekit::Discovery::drive(drivekit::Discovery::wholeDiskName(disk), sources)) {
        if (drive->sizeBytes < 0) std::abort();
    }
    return 0;
}
