#pragma once
// The tests' ATA disk: the one simulated disk (platform/demo/sim_ata_disk.hpp) with
// pages made from a few readable fields. Test code only.
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/demo/sim_ata_disk.hpp"

namespace drivekit::sim {

using platform::SimATADisk;
using platform::fixedSense;

struct ATAContents {
    struct Attribute {
        std::uint8_t id = 0;
        std::uint16_t flags = 0;
        std::uint8_t value = 100;
        std::uint8_t worst = 100;
        std::uint64_t raw = 0;
        std::uint8_t threshold = 0;
    };
    struct SelfTest {
        std::uint8_t test = 1;    // LBA low of the test that ran: 1 short, 2 extended
        std::uint8_t status = 0;  // high nibble: result, low nibble: percent left / 10
        std::uint16_t hours = 0;
        std::uint32_t failingLBA = 0;
    };
    std::string model = "SIMDISK SSD 1TB";
    std::string serial = "SIM00000001";
    std::string firmware = "SIM1.0";
    std::uint64_t sectors = 1'953'525'168;
    std::vector<Attribute> attributes = {
        {5, 0x0033, 100, 100, 0, 10},
        {9, 0x0032, 99, 99, 1234, 0},
        {12, 0x0032, 99, 99, 321, 0},
        {194, 0x0022, 65, 50, 35, 0},
    };
    std::vector<SelfTest> selfTests;  // oldest first
};

/// A healthy SSD behind a bridge that passes ATA commands through.
SimATADisk ataDisk(const ATAContents& contents = {});

/// The lab's SATA SSD as the health and command-line tests read it: 70% through a short
/// self-test, the newest logged one an extended test that failed on a read at LBA 1,000.
SimATADisk labSATADisk();

/// The connections a layer opens to one simulated disk under one kernel name, counted:
/// how many were opened, how many are still open.
class SimDiskLinks {
public:
    SimDiskLinks(SimATADisk& disk, std::string kernelName) : name(std::move(kernelName)), disk_(disk) {}

    /// Opens a connection for `name`; nothing for any other name.
    std::unique_ptr<platform::SCSIDrive> open(std::string_view asked) {
        if (asked != name) return nullptr;
        return std::make_unique<Counted>(*this);
    }
    std::function<std::unique_ptr<platform::SCSIDrive>(std::string_view)> connect() {
        return [this](std::string_view asked) { return open(asked); };
    }

    std::string name;
    int opened = 0;
    int live = 0;

private:
    class Counted final : public platform::SCSIDrive {
    public:
        explicit Counted(SimDiskLinks& links) : links_(links), drive_(links.name, links.disk_) {
            ++links_.opened;
            ++links_.live;
        }
        ~Counted() override { --links_.live; }
        Answer command(ByteView cdb, std::int64_t dataIn, double timeout) override {
            return drive_.command(cdb, dataIn, timeout);
        }
        platform::DiagnosticsLog& log() override { return drive_.log(); }

    private:
        SimDiskLinks& links_;
        platform::SimSCSIDrive drive_;
    };
    SimATADisk& disk_;
};

}  // namespace drivekit::sim
