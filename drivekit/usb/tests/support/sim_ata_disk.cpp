#include "drivekit/usb/tests/support/sim_ata_disk.hpp"

#include <algorithm>

#include "drivekit/health/tests/ata_pages.hpp"

namespace drivekit::sim {
namespace {

constexpr std::size_t blockSize = 512;

constexpr std::uint8_t checkCondition = 2;
constexpr std::uint8_t illegalRequest = 0x5, mediumError = 0x3, abortedCommand = 0xB;

SimATADisk::Reply good(Bytes data = {}) { return {0, std::move(data), {}}; }
SimATADisk::Reply fails(std::uint8_t key, std::uint8_t asc, std::uint8_t ascq) {
    return {checkCondition, {}, fixedSense(key, asc, ascq)};
}

// Descriptor sense with an ATA Status Return descriptor: how a bridge hands back the
// registers of a pass-through that asked for them, or that the drive aborted.
Bytes ataRegisterSense(std::uint8_t key, std::uint8_t ascq, std::uint8_t error,
                       std::uint8_t status, std::uint8_t lbaMid, std::uint8_t lbaHigh) {
    Bytes sense(8 + 14, 0);
    sense[0] = 0x72;
    sense[1] = key;
    sense[2] = 0x00;
    sense[3] = ascq;
    sense[7] = 14;
    sense[8] = 0x09;
    sense[9] = 0x0C;
    sense[11] = error;
    sense[17] = lbaMid;
    sense[19] = lbaHigh;
    sense[21] = status;
    return sense;
}

bool isWrite(std::uint8_t opcode) {
    switch (opcode) {
        case 0x0A: case 0x2A: case 0x8A: case 0xAA:  // WRITE (6/10/16/12)
        case 0x2E: case 0x8E:                        // WRITE AND VERIFY
        case 0x41: case 0x93:                        // WRITE SAME
        case 0x04: case 0x42: case 0x55: case 0x15:  // FORMAT, UNMAP, MODE SELECT
        case 0x3B: case 0x35: case 0x91:             // WRITE BUFFER, SYNCHRONIZE CACHE
            return true;
        default:
            return false;
    }
}

void putBE(Bytes& out, std::size_t at, std::uint64_t value, std::size_t width) {
    for (std::size_t i = 0; i < width; ++i) {
        out[at + i] = static_cast<std::uint8_t>(value >> (8 * (width - 1 - i)));
    }
}

}  // namespace

Bytes fixedSense(std::uint8_t key, std::uint8_t asc, std::uint8_t ascq) {
    Bytes sense(18, 0);
    sense[0] = 0x70;
    sense[2] = key;
    sense[7] = 10;
    sense[12] = asc;
    sense[13] = ascq;
    return sense;
}

Bytes SimATADisk::blockContent(std::uint64_t lba) {
    Bytes block(blockSize);
    for (std::size_t i = 0; i < blockSize; ++i) {
        block[i] = static_cast<std::uint8_t>((lba * 31 + i) & 0xFF);
    }
    return block;
}

SimATADisk::Reply SimATADisk::execute(ByteView cdb) {
    commands.emplace_back(cdb.begin(), cdb.end());
    if (cdb.empty()) return fails(illegalRequest, 0x20, 0x00);
    const std::uint8_t opcode = cdb[0];
    if (isWrite(opcode)) {
        ++writeAttempts;
        return fails(illegalRequest, 0x20, 0x00);
    }
    switch (opcode) {
        case 0x00:  // TEST UNIT READY
            return good();
        case 0x03: {  // REQUEST SENSE
            Bytes sense = lastSense_.empty() ? fixedSense(0, 0, 0) : lastSense_;
            lastSense_.clear();
            return good(std::move(sense));
        }
        case 0x12: {  // INQUIRY
            if (cdb.size() > 1 && (cdb[1] & 0x01) != 0) return fails(illegalRequest, 0x24, 0x00);
            Bytes data(36, ' ');
            data[0] = 0x00;
            data[1] = 0x00;
            data[2] = 0x06;
            data[3] = 0x02;
            data[4] = 31;
            data[5] = data[6] = data[7] = 0;
            std::copy_n(vendor.begin(), std::min<std::size_t>(vendor.size(), 8), data.begin() + 8);
            std::copy_n(product.begin(), std::min<std::size_t>(product.size(), 16), data.begin() + 16);
            std::copy_n("0100", 4, data.begin() + 32);
            return good(std::move(data));
        }
        case 0x25: {  // READ CAPACITY (10)
            Bytes data(8, 0);
            putBE(data, 0, std::min<std::uint64_t>(sectors - 1, 0xFFFFFFFF), 4);
            putBE(data, 4, blockSize, 4);
            return good(std::move(data));
        }
        case 0x9E:  // SERVICE ACTION IN (16): READ CAPACITY (16)
            if (cdb.size() >= 2 && (cdb[1] & 0x1F) == 0x10) {
                Bytes data(32, 0);
                putBE(data, 0, sectors - 1, 8);
                putBE(data, 8, blockSize, 4);
                return good(std::move(data));
            }
            return fails(illegalRequest, 0x24, 0x00);
        case 0x28:  // READ (10)
            return read(be32(cdb, 2), be16(cdb, 7));
        case 0x88:  // READ (16)
            return read(be64(cdb, 2), be32(cdb, 10));
        case 0x85:  // ATA PASS-THROUGH (16)
        case 0xA1:  // ATA PASS-THROUGH (12)
            if (!passesATA) return fails(illegalRequest, 0x20, 0x00);
            return ataPassThrough(cdb);
        default:
            return fails(illegalRequest, 0x20, 0x00);
    }
}

SimATADisk::Reply SimATADisk::read(std::uint64_t lba, std::uint64_t count) {
    if (lba > sectors || count > sectors - lba) return fails(illegalRequest, 0x21, 0x00);
    Reply reply;
    for (std::uint64_t block = lba; block < lba + count; ++block) {
        if (unreadable.contains(block)) {
            reply.status = checkCondition;
            reply.sense = fixedSense(mediumError, 0x11, 0x00);
            lastSense_ = reply.sense;
            return reply;  // the blocks before it, as a bridge would have moved them
        }
        const Bytes content = blockContent(block);
        reply.data.insert(reply.data.end(), content.begin(), content.end());
    }
    return reply;
}

SimATADisk::Reply SimATADisk::ataPassThrough(ByteView cdb) {
    ++ataCommands;
    const bool sixteen = cdb[0] == 0x85;
    if (cdb.size() < (sixteen ? 16u : 12u)) return fails(illegalRequest, 0x24, 0x00);
    const bool checkConditionWanted = (cdb[2] & 0x20) != 0;
    const std::uint8_t features = sixteen ? cdb[4] : cdb[3];
    const std::uint8_t lbaLow = sixteen ? cdb[8] : cdb[5];
    const std::uint8_t lbaMid = sixteen ? cdb[10] : cdb[6];
    const std::uint8_t lbaHigh = sixteen ? cdb[12] : cdb[7];
    const std::uint8_t command = sixteen ? cdb[14] : cdb[9];

    const auto aborted = [&] {
        Reply reply{checkCondition, {}, ataRegisterSense(abortedCommand, 0x00, 0x04, 0x51, lbaMid, lbaHigh)};
        lastSense_ = reply.sense;
        return reply;
    };
    if (command == 0xE5) {  // CHECK POWER MODE: the count register tells
        Bytes sense = ataRegisterSense(0x01, 0x1D, 0x00, 0x50, 0x00, 0x00);
        sense[13] = standby ? 0x00 : 0xFF;
        lastSense_ = sense;
        return Reply{checkCondition, {}, sense};
    }
    if (standby) {
        standby = false;
        ++wakeUps;
    }
    if (command == 0xEC) return good(identifyPage());
    if (command != 0xB0) return aborted();
    if (lbaMid != 0x4F || lbaHigh != 0xC2) return aborted();
    if (!smartEnabled && features != 0xD8) return aborted();
    switch (features) {
        case 0xD0: return good(smartDataPage());
        case 0xD1: return good(thresholdsPage());
        case 0xD5:
            if (lbaLow == 0x06) return good(selfTestLogPage());
            return aborted();
        case 0xD4:
        case 0xD8:
            return good();
        case 0xDA: {
            if (!checkConditionWanted) return good();
            const bool exceeded = thresholdExceeded;
            Reply reply{checkCondition, {},
                        ataRegisterSense(0x01, 0x1D, 0x00, 0x50, exceeded ? 0xF4 : 0x4F,
                                         exceeded ? 0x2C : 0xC2)};
            lastSense_ = reply.sense;
            return reply;
        }
        default:
            return aborted();
    }
}

Bytes SimATADisk::identifyPage() const {
    testpages::IdentifyPage page;
    page.word(0, 0x0040).serial(serial).firmware(firmware).model(model);
    page.word(49, 0x0300);  // LBA and DMA
    const std::uint64_t lba28 = std::min<std::uint64_t>(sectors, 0x0FFFFFFF);
    page.word(60, static_cast<std::uint16_t>(lba28 & 0xFFFF));
    page.word(61, static_cast<std::uint16_t>(lba28 >> 16));
    page.word(82, 0x0001);  // SMART supported
    page.word(83, 0x4400);  // 48-bit addressing
    page.word(85, smartEnabled ? 0x0001 : 0x0000);
    page.word(86, 0x0400);
    for (std::size_t w = 0; w < 4; ++w) {
        page.word(100 + w, static_cast<std::uint16_t>((sectors >> (16 * w)) & 0xFFFF));
    }
    page.word(217, rotationRate);
    return page.sealed();
}

Bytes SimATADisk::smartDataPage() const {
    testpages::SmartDataPage page;
    for (std::size_t slot = 0; slot < attributes.size() && slot < 30; ++slot) {
        const Attribute& a = attributes[slot];
        page.attribute(slot, a.id, a.flags, a.value, a.worst, a.raw);
    }
    return page.sealed();
}

Bytes SimATADisk::thresholdsPage() const {
    testpages::ThresholdsPage page;
    for (std::size_t slot = 0; slot < attributes.size() && slot < 30; ++slot) {
        page.threshold(slot, attributes[slot].id, attributes[slot].threshold);
    }
    return page.sealed();
}

Bytes SimATADisk::selfTestLogPage() const {
    testpages::SelfTestLogPage page;
    const std::size_t kept = std::min<std::size_t>(selfTests.size(), 21);
    for (std::size_t i = 0; i < kept; ++i) {
        const SelfTest& t = selfTests[selfTests.size() - kept + i];
        page.descriptor(i + 1, t.test, t.status, t.hours, t.failingLBA);
    }
    page.newest(static_cast<std::uint8_t>(kept));
    return page.sealed();
}

}  // namespace drivekit::sim
