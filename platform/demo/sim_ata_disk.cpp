#include "platform/demo/sim_ata_disk.hpp"

#include <algorithm>

#include "platform/format.hpp"
#include "platform/scsi_sense.hpp"

namespace platform {
namespace {

using Reply = SimATADisk::Reply;

constexpr std::uint8_t checkCondition = 2;
// One READ moves at most this much; a scan reads in far smaller steps.
constexpr std::uint64_t maxReadBytes = 16u << 20;

// Descriptor sense with an ATA Status Return descriptor: the registers the drive ended
// with, as a bridge returns them for a pass-through that asked for them or that the
// drive aborted.
Bytes ataRegisterSense(std::uint8_t key, std::uint8_t ascq, std::uint8_t error, std::uint8_t status,
                       std::uint8_t lbaMid, std::uint8_t lbaHigh) {
    Bytes sense(8 + 14, 0);
    sense[0] = 0x72;
    sense[1] = key;
    sense[3] = ascq;
    sense[7] = 14;
    sense[8] = 0x09;  // ATA Status Return
    sense[9] = 0x0C;
    sense[11] = error;
    sense[17] = lbaMid;
    sense[19] = lbaHigh;
    sense[21] = status;
    return sense;
}

Reply good(Bytes data = {}) { return {0, std::move(data), {}}; }
Reply refused(std::uint8_t key, std::uint8_t asc, std::uint8_t ascq) {
    return {checkCondition, {}, fixedSense(key, asc, ascq)};
}
Reply invalidOpcode() { return refused(Sense::Key::illegalRequest, 0x20, 0x00); }
Reply invalidField() { return refused(Sense::Key::illegalRequest, 0x24, 0x00); }
// ABRT in the error register, ERR in the status: the drive turned the ATA command down.
Reply ataAborted(std::uint8_t lbaMid, std::uint8_t lbaHigh) {
    return {checkCondition, {}, ataRegisterSense(Sense::Key::abortedCommand, 0x00, 0x04, 0x51, lbaMid, lbaHigh)};
}
Reply page(const std::optional<Bytes>& bytes, std::uint8_t lbaMid, std::uint8_t lbaHigh) {
    return bytes ? good(*bytes) : ataAborted(lbaMid, lbaHigh);
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

void putText(Bytes& out, std::size_t at, std::size_t width, std::string_view text) {
    for (std::size_t i = 0; i < width; ++i) out[at + i] = static_cast<std::uint8_t>(i < text.size() ? text[i] : ' ');
}

std::string cdbText(ByteView cdb) {
    std::string hex;
    for (const std::uint8_t byte : cdb) {
        if (!hex.empty()) hex += ' ';
        hex += format("%02X", byte);
    }
    return hex;
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

Bytes SimATADisk::blockContent(std::uint64_t lba, std::uint32_t size) {
    Bytes block(size);
    for (std::size_t i = 0; i < size; ++i) block[i] = static_cast<std::uint8_t>((lba * 31 + i) & 0xFF);
    return block;
}

Reply SimATADisk::execute(ByteView cdb) {
    commands.emplace_back(cdb.begin(), cdb.end());
    Reply reply = answer(cdb);
    // REQUEST SENSE hands the last command's sense over once, as a device does.
    lastSense_ = !cdb.empty() && cdb[0] == 0x03 ? Bytes{} : reply.sense;
    return reply;
}

Reply SimATADisk::answer(ByteView cdb) {
    if (cdb.empty()) return invalidOpcode();
    if (isWrite(cdb[0])) {
        ++writeAttempts;
        return invalidOpcode();
    }
    switch (cdb[0]) {
        case 0x00:  // TEST UNIT READY
            return good();
        case 0x03:  // REQUEST SENSE
            return good(lastSense_.empty() ? fixedSense(0, 0, 0) : lastSense_);
        case 0x12: {  // INQUIRY, standard data only
            if (cdb.size() < 6 || (cdb[1] & 0x01) != 0) return invalidField();
            Bytes data(36, 0);
            data[2] = 0x06;  // SPC-4
            data[3] = 0x02;
            data[4] = 31;
            putText(data, 8, 8, vendor);
            putText(data, 16, 16, product);
            putText(data, 32, 4, revision);
            return good(std::move(data));
        }
        case 0x25: {  // READ CAPACITY (10)
            Bytes data(8, 0);
            putBE(data, 0, std::min<std::uint64_t>(blocks == 0 ? 0 : blocks - 1, 0xFFFFFFFF), 4);
            putBE(data, 4, blockSize, 4);
            return good(std::move(data));
        }
        case 0x9E: {  // SERVICE ACTION IN (16): READ CAPACITY (16)
            if (cdb.size() < 2 || (cdb[1] & 0x1F) != 0x10) return invalidField();
            Bytes data(32, 0);
            putBE(data, 0, blocks == 0 ? 0 : blocks - 1, 8);
            putBE(data, 8, blockSize, 4);
            return good(std::move(data));
        }
        case 0x28:  // READ (10)
            if (cdb.size() < 10) return invalidField();
            return read(be32(cdb, 2), be16(cdb, 7));
        case 0x88:  // READ (16)
            if (cdb.size() < 16) return invalidField();
            return read(be64(cdb, 2), be32(cdb, 10));
        case 0x85:  // ATA PASS-THROUGH (16)
        case 0xA1:  // ATA PASS-THROUGH (12)
            if (!passesATA || (cdb[0] == 0xA1 ? !carriesTwelve : !carriesSixteen)) return invalidOpcode();
            return ataPassThrough(cdb);
        default:
            return invalidOpcode();
    }
}

Reply SimATADisk::read(std::uint64_t lba, std::uint64_t count) {
    if (lba > blocks || count > blocks - lba) return refused(Sense::Key::illegalRequest, 0x21, 0x00);
    if (count * blockSize > maxReadBytes) return invalidField();
    Reply reply;
    for (std::uint64_t block = lba; block < lba + count; ++block) {
        if (unreadableBlocks.contains(block)) {
            // The blocks before it, as a bridge would have moved them, and the unrecovered read error.
            reply.status = checkCondition;
            reply.sense = fixedSense(Sense::Key::mediumError, 0x11, 0x00);
            return reply;
        }
        const Bytes content = blockContent(block, blockSize);
        reply.data.insert(reply.data.end(), content.begin(), content.end());
    }
    return reply;
}

Reply SimATADisk::ataPassThrough(ByteView cdb) {
    ++ataCommands;
    const bool sixteen = cdb[0] == 0x85;
    if (cdb.size() < (sixteen ? 16u : 12u)) return invalidField();
    const bool registersWanted = (cdb[2] & 0x20) != 0;
    const std::uint8_t features = sixteen ? cdb[4] : cdb[3];
    const std::uint8_t lbaLow = sixteen ? cdb[8] : cdb[5];
    const std::uint8_t lbaMid = sixteen ? cdb[10] : cdb[6];
    const std::uint8_t lbaHigh = sixteen ? cdb[12] : cdb[7];
    const std::uint8_t command = sixteen ? cdb[14] : cdb[9];

    if (command == 0xEC) return page(identify, lbaMid, lbaHigh);  // IDENTIFY DEVICE
    if (command == 0xE5) {  // CHECK POWER MODE: the mode in the count register
        if (!powerMode || !registersWanted) return ataAborted(lbaMid, lbaHigh);
        Bytes sense = ataRegisterSense(Sense::Key::recoveredError, 0x1D, 0x00, 0x50, lbaMid, lbaHigh);
        sense[13] = *powerMode;
        return {checkCondition, {}, std::move(sense)};
    }
    // SMART commands carry the signature 4Fh/C2h in LBA mid and high.
    if (command != 0xB0 || lbaMid != 0x4F || lbaHigh != 0xC2) return ataAborted(lbaMid, lbaHigh);
    switch (features) {
        case 0xD0:
            return page(smartData, lbaMid, lbaHigh);
        case 0xD1:
            return page(smartThresholds, lbaMid, lbaHigh);
        case 0xD5:  // READ LOG: only the SMART self-test log
            return lbaLow == 0x06 ? page(selfTestLog, lbaMid, lbaHigh) : ataAborted(lbaMid, lbaHigh);
        case 0xD4:  // EXECUTE OFF-LINE IMMEDIATE: accepted, nothing is tested
            return takesSelfTests ? good() : ataAborted(lbaMid, lbaHigh);
        case 0xD8:  // ENABLE OPERATIONS
            return good();
        case 0xDA: {  // RETURN STATUS: F4h/2Ch in LBA mid/high says a threshold is exceeded
            if (statusReply) return *statusReply;
            if (!registersWanted) return good();
            return {checkCondition,
                    {},
                    ataRegisterSense(Sense::Key::recoveredError, 0x1D, 0x00, 0x50, thresholdExceeded ? 0xF4 : 0x4F,
                                     thresholdExceeded ? 0x2C : 0xC2)};
        }
        default:
            return ataAborted(lbaMid, lbaHigh);
    }
}

SimSCSIDrive::SimSCSIDrive(std::string name, SimATADisk& disk, std::mutex* guard)
    : name_(std::move(name)), disk_(disk), guard_(guard) {}

SimSCSIDrive::Answer SimSCSIDrive::command(ByteView cdb, std::int64_t dataIn, double) {
    const std::string what = "/dev/" + name_ + " " + cdbText(cdb);
    if (cdb.empty() || cdb.size() > 16 || dataIn < 0) {
        log_.note(what + ": not sent (bad command block or length)");
        return Unexpected(Failure{"The command didn't reach the drive."});
    }
    Reply reply = [&] {
        if (guard_ == nullptr) return disk_.execute(cdb);
        const std::lock_guard hold(*guard_);
        return disk_.execute(cdb);
    }();
    if (reply.status == checkCondition) {
        const auto sense = Sense::decode(reply.sense);
        // Registers asked for by the check-condition bit are the answer, not a failure.
        if (sense && sense->ataInformationAvailable() && Sense::ataRegisters(reply.sense)) {
            log_.noteSuccess([&] { return what + ": ATA registers returned"; });
            return std::move(reply.sense);
        }
        log_.note(what + ": CHECK CONDITION, " + (sense ? Sense::describe(*sense) : "no sense data"));
        return Unexpected(
            Failure{"The drive refused the command.", !sense || sense->key == Sense::Key::illegalRequest});
    }
    const auto wanted = static_cast<std::uint64_t>(dataIn);
    if (reply.data.size() > wanted) reply.data.resize(static_cast<std::size_t>(wanted));
    log_.noteSuccess([&] { return what + format(": %zu bytes", reply.data.size()); });
    return std::move(reply.data);
}

}  // namespace platform
