#pragma once
// A SATA drive behind a SCSI layer, for tests of everything that reads ATA SMART through
// pass-through. It answers ATA PASS-THROUGH by the ATA command inside the block, from
// pages laid out as a drive sends them; a page left empty fails its command, and `forms`
// are the pass-through lengths the layer carries at all. Every connection it hands out
// is counted, and every command block it was sent is kept.
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "drivekit/health/ata_smart_lib.hpp"
#include "drivekit/health/sat.hpp"
#include "drivekit/health/tests/ata_pages.hpp"
#include "platform/scsi_drive.hpp"

namespace drivekit::testpages {

class FakeSATDisk {
public:
    /// The one kernel name it answers to.
    std::string bsdName = "sda";
    std::set<SAT::Variant> forms{SAT::Variant::sixteen, SAT::Variant::twelve};
    std::optional<Bytes> identify = IdentifyPage()
                                        .model("HWLAB SATA SSD")
                                        .serial("SER123")
                                        .firmware("FW1")
                                        .word(82, 0x0001)
                                        .word(85, 0x0001)
                                        .word(217, 1)
                                        .word(100, 0x2000)
                                        .sealed();
    std::optional<Bytes> smartData = SmartDataPage()
                                         .attribute(0, 5, 0x0033, 100, 100, 0)
                                         .attribute(1, 9, 0x0032, 99, 99, 1240)
                                         .attribute(2, 194, 0x0022, 40, 30, 0x0000'3C00'0012'0028)
                                         .selfTestStatus(0xF3)
                                         .byteAt(372, 2)
                                         .byteAt(373, 30)
                                         .sealed();
    std::optional<Bytes> thresholds =
        ThresholdsPage().threshold(0, 5, 10).threshold(1, 9, 0).sealed();
    std::optional<Bytes> selfTestLog = SelfTestLogPage()
                                           .descriptor(1, 1, 0x00, 1200)
                                           .descriptor(2, 2, 0x79, 1239, 1000)
                                           .newest(2)
                                           .sealed();
    // The sense data SMART RETURN STATUS answers with: a passing drive's registers.
    std::optional<Bytes> statusAnswer = statusSense(0x4F, 0xC2);
    bool takesSelfTests = true;
    /// What CHECK POWER MODE answers in the count register (00h standby, FFh active);
    /// nothing for a drive that rejects the command.
    std::optional<std::uint8_t> powerCount = std::nullopt;

    std::vector<Bytes> sent;
    int opened = 0;
    int live = 0;

    static Bytes statusSense(std::uint8_t lbaMid, std::uint8_t lbaHigh, std::uint8_t status = 0x50) {
        return {0x72, 0x01, 0x00, 0x1D, 0x00, 0x00, 0x00, 0x0E, 0x09, 0x0C, 0x00, 0x00, 0x00,
                0x00, 0x00, 0x00, 0x00, lbaMid, 0x00, lbaHigh, 0x00, status};
    }

    ATASMARTLib::Connect connect() {
        return [this](std::string_view name) -> std::unique_ptr<SCSIDrive> {
            if (name != bsdName) return nullptr;
            return std::make_unique<Connection>(*this);
        };
    }

private:
    class Connection final : public SCSIDrive {
    public:
        explicit Connection(FakeSATDisk& disk) : disk_(disk) {
            ++disk_.opened;
            ++disk_.live;
        }
        ~Connection() override { --disk_.live; }
        Answer command(ByteView cdb, std::int64_t dataIn, double) override {
            disk_.sent.emplace_back(cdb.begin(), cdb.end());
            return disk_.answer(cdb, dataIn);
        }
        DiagnosticsLog& log() override { return log_; }

    private:
        FakeSATDisk& disk_;
        DiagnosticsLog log_;
    };

    SCSIDrive::Answer answer(ByteView cdb, std::int64_t dataIn) const {
        const auto refuse = Unexpected(SCSIDrive::Failure{"The drive refused the command.", true});
        const bool sixteen = cdb[0] == 0x85;
        if (!forms.contains(sixteen ? SAT::Variant::sixteen : SAT::Variant::twelve)) return refuse;
        const std::uint8_t feature = sixteen ? cdb[4] : cdb[3];
        const std::uint8_t lbaLow = sixteen ? cdb[8] : cdb[5];
        const std::uint8_t command = sixteen ? cdb[14] : cdb[9];
        auto page = [&](const std::optional<Bytes>& bytes) -> SCSIDrive::Answer {
            if (!bytes || dataIn != 512) return refuse;
            return *bytes;
        };
        if (command == 0xEC) return page(identify);
        if (command == 0xE5) {
            if (!powerCount || dataIn != 0) return refuse;
            Bytes sense = statusSense(0, 0);
            sense[13] = *powerCount;
            return sense;
        }
        if (command != 0xB0) return refuse;
        switch (feature) {
            case 0xD0: return page(smartData);
            case 0xD1: return page(thresholds);
            case 0xD5: return lbaLow == 6 ? page(selfTestLog) : refuse;
            case 0xDA:
                if (!statusAnswer || dataIn != 0) return refuse;
                return *statusAnswer;
            case 0xD4:
                if (!takesSelfTests || dataIn != 0) return refuse;
                return Bytes{};
            default: return refuse;
        }
    }
};

}  // namespace drivekit::testpages
