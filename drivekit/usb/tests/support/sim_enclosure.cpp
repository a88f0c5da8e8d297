#include "drivekit/usb/tests/support/sim_enclosure.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>

namespace drivekit::sim {
namespace {

using platform::USBError;
using platform::USBTransfer;

constexpr std::uint32_t cbwSignature = 0x43425355;
constexpr std::uint32_t cswSignature = 0x53425355;

// The errors libusb gives for these conditions, so that log lines read as on Linux.
USBError stall() { return {USBError::Kind::stall, -9, "Pipe error"}; }
USBError timeout() { return {USBError::Kind::timeout, -7, "Operation timed out"}; }
USBError overflow() { return {USBError::Kind::overflow, -8, "Overflow"}; }
USBError notFound() { return {USBError::Kind::notFound, -5, "Entity not found"}; }
USBError notSupported() {
    return {USBError::Kind::notSupported, -12,
            "Operation not supported or unimplemented on this platform"};
}

// What the kernel answers for streams on a link that has none (EINVAL).
USBError invalidParam() { return {USBError::Kind::notSupported, -2, "Invalid parameter"}; }
USBError cancelled() { return {USBError::Kind::cancelled, -10, "Transfer cancelled"}; }

// Upper-case hexadecimal with at least `digits` digits, as the trace lines show it.
std::string hex(unsigned value, int digits = 2) {
    char text[16];
    std::snprintf(text, sizeof text, "%0*X", digits, value);
    return text;
}

void putLE32(std::span<std::uint8_t> out, std::size_t at, std::uint32_t value) {
    for (std::size_t i = 0; i < 4; ++i) out[at + i] = static_cast<std::uint8_t>(value >> (8 * i));
}

// The device interface reports failure as a Result; the enclosure's own steps say what
// went wrong or nothing.
platform::Result<void, USBError> outcome(std::optional<USBError> error) {
    if (error) return platform::Unexpected(std::move(*error));
    return {};
}

class SimDevice final : public platform::USBDevice {
public:
    explicit SimDevice(SimEnclosure& enclosure) : enclosure_(enclosure) { ++enclosure_.openDevices; }
    SimDevice(const SimDevice&) = delete;
    SimDevice& operator=(const SimDevice&) = delete;
    ~SimDevice() override {
        releaseInterface();
        --enclosure_.openDevices;
    }

    std::optional<std::pair<std::uint8_t, std::uint8_t>> busAndAddress() const override {
        return enclosure_.busAddress;
    }

    std::optional<std::vector<std::uint8_t>> configurationDescriptor() override {
        return enclosure_.descriptorIfConfigured();
    }
    platform::Result<void, USBError> setConfiguration(std::uint8_t value) override {
        return outcome(enclosure_.setConfiguration(value));
    }
    platform::Result<void, USBError> claimInterface(std::uint8_t number, bool seize) override {
        auto error = enclosure_.claim(number, seize);
        if (!error) claimedHere_ = true;
        return outcome(std::move(error));
    }
    std::optional<std::uint8_t> alternateSetting() override {
        if (!claimedHere_) return std::nullopt;
        return enclosure_.alternate;
    }
    platform::Result<void, USBError> selectAlternateSetting(std::uint8_t alternate) override {
        if (!claimedHere_) return platform::Unexpected(notFound());
        return outcome(enclosure_.selectAlternate(alternate));
    }
    void releaseInterface() override {
        if (!claimedHere_) return;
        claimedHere_ = false;
        enclosure_.release();
    }
    USBTransfer controlTransfer(const platform::USBControlRequest& request,
                                std::span<std::uint8_t> data, double timeoutSeconds) override {
        return enclosure_.control(request, data, timeoutSeconds);
    }
    USBTransfer bulkTransfer(std::uint8_t endpoint, std::span<std::uint8_t> data,
                             double timeoutSeconds) override {
        if (!claimedHere_) return {0, notFound()};
        return enclosure_.bulk(endpoint, data, timeoutSeconds);
    }
    platform::Result<void, USBError> clearHalt(std::uint8_t endpoint) override {
        return outcome(enclosure_.clearHalt(endpoint));
    }
    platform::Result<void, USBError> reset() override { return outcome(enclosure_.portReset()); }
    platform::Result<std::uint32_t, USBError> allocateStreams(
        std::uint32_t count, std::span<const std::uint8_t> endpoints) override {
        if (!claimedHere_) return platform::Unexpected(invalidParam());
        return enclosure_.allocateStreams(count, endpoints);
    }
    platform::Result<void, USBError> freeStreams(std::span<const std::uint8_t> endpoints) override {
        if (!claimedHere_) return platform::Unexpected(invalidParam());
        return outcome(enclosure_.freeStreams(endpoints));
    }
    platform::Result<void, USBError> submitStreamTransfer(
        std::uint8_t endpoint, std::uint32_t streamID, std::span<std::uint8_t> data,
        std::function<void(const USBTransfer&)> completion) override {
        if (!claimedHere_) return platform::Unexpected(notFound());
        return outcome(enclosure_.submitStreamTransfer(endpoint, streamID, data, std::move(completion)));
    }
    platform::Result<void, USBError> cancelStreamTransfers(std::uint8_t endpoint,
                                                           std::uint32_t streamID) override {
        enclosure_.cancelStreamTransfers(endpoint, streamID);
        return {};
    }
    platform::Result<std::unique_ptr<platform::USBBuffer>, USBError> deviceMemory(
        std::size_t length) override {
        if (enclosure_.noDeviceMemory) return platform::Unexpected(notSupported());
        return std::unique_ptr<platform::USBBuffer>(new platform::HeapUSBBuffer(length));
    }

private:
    SimEnclosure& enclosure_;
    bool claimedHere_ = false;
};

}  // namespace

SimEnclosure::SimEnclosure() : SimEnclosure(Layout{}) {}
SimEnclosure::SimEnclosure(Layout layout) : layout_(layout) {}

void SimEnclosure::inject(Fault fault, std::optional<std::uint8_t> opcode, int commands,
                          int reads, std::size_t bytes) {
    planned_.push_back({fault, opcode, commands, reads, bytes});
}

std::unique_ptr<platform::USBDevice> SimEnclosure::open() {
    trace.push_back("open");
    if (unconfigured) configured_ = false;
    return std::make_unique<SimDevice>(*this);
}

Bytes SimEnclosure::configurationDescriptor() const {
    Bytes d = {9, 2, 0, 0, 1, layout_.configurationValue, 0, 0x80, 50};
    const auto endpoint = [&](std::uint8_t address) {
        d.insert(d.end(), {7, 5, address, 2, static_cast<std::uint8_t>(layout_.maxPacket & 0xFF),
                           static_cast<std::uint8_t>(layout_.maxPacket >> 8), 0});
    };
    if (layout_.otherInterfaceFirst) {
        d.insert(d.end(), {9, 4, 0, 0, 1, 0x03, 0, 0, 0});
        d.insert(d.end(), {7, 5, 0x8F, 3, 8, 0, 10});
        d[4] = 2;
    }
    std::uint8_t alternateNumber = 0;
    if (layout_.bulkOnlySetting) {
        const std::uint8_t endpoints = layout_.bulkInEndpoint ? 2 : 1;
        d.insert(d.end(), {9, 4, layout_.interfaceNumber, alternateNumber++, endpoints, 0x08, 0x06, 0x50, 0});
        if (layout_.bulkInEndpoint) endpoint(layout_.bulkIn);
        endpoint(layout_.bulkOut);
    }
    if (layout_.uasSetting) {
        d.insert(d.end(), {9, 4, layout_.interfaceNumber, alternateNumber++, 4, 0x08, 0x06, 0x62, 0});
        const std::pair<std::uint8_t, std::uint8_t> pipes[] = {{0x04, 1}, {0x83, 2}, {0x85, 3}, {0x06, 4}};
        for (const auto& [address, id] : pipes) {
            endpoint(address);
            d.insert(d.end(), {4, 0x24, id, 0});
        }
    }
    d[2] = static_cast<std::uint8_t>(d.size() & 0xFF);
    d[3] = static_cast<std::uint8_t>(d.size() >> 8);
    return d;
}

std::optional<Bytes> SimEnclosure::descriptorIfConfigured() {
    if (!configured_) return std::nullopt;
    if (looks_ < looksBeforeInterface) {
        ++looks_;
        return Bytes{9, 2, 9, 0, 0, layout_.configurationValue, 0, 0x80, 50};
    }
    return configurationDescriptor();
}

std::optional<USBError> SimEnclosure::setConfiguration(std::uint8_t value) {
    trace.push_back("configure " + std::to_string(value));
    if (value != layout_.configurationValue) return notFound();
    configured_ = true;
    return std::nullopt;
}

std::optional<USBError> SimEnclosure::claim(std::uint8_t number, bool seize) {
    trace.push_back("claim " + std::to_string(number) + (seize ? " seize" : ""));
    if (number != layout_.interfaceNumber) return notFound();
    if (seize ? refuseSeize : claimRefusals > 0) {
        if (!seize) --claimRefusals;
        return claimError;
    }
    claimed = true;
    driverAttached = false;
    return std::nullopt;
}

std::optional<USBError> SimEnclosure::selectAlternate(std::uint8_t alternateSetting) {
    trace.push_back("alt " + std::to_string(alternateSetting));
    const int settings = (layout_.bulkOnlySetting ? 1 : 0) + (layout_.uasSetting ? 1 : 0);
    if (alternateSetting >= settings) return notFound();
    alternate = alternateSetting;
    state_ = State::idle;
    halted_.clear();
    // A new setting has new endpoints: streams and queued reads of the old ones end.
    killQueued(cancelled());
    streamEndpoints.clear();
    uas_ = {};
    return std::nullopt;
}

void SimEnclosure::release() {
    if (!claimed) return;
    trace.push_back("release " + std::to_string(layout_.interfaceNumber));
    claimed = false;
    driverAttached = true;
    alternate = 0;  // the kernel driver starts from the first setting
    state_ = State::idle;
    // Unbinding kills what is still queued and frees the streams.
    killQueued(cancelled());
    streamEndpoints.clear();
    uas_ = {};
}

USBTransfer SimEnclosure::control(const platform::USBControlRequest& request,
                                  std::span<std::uint8_t> data, double) {
    if (request.requestType == 0x21 && request.request == 0xFF) {
        trace.push_back("mass storage reset");
        ++resets;
        if (resetStalls) return {0, stall()};
        state_ = State::idle;
        faults_.clear();
        return {0, std::nullopt};
    }
    if (request.requestType == 0xA1 && request.request == 0xFE) {
        trace.push_back("max LUN");
        if (maxLUNStalls) return {0, stall()};
        if (data.empty()) return {0, std::nullopt};
        data[0] = 0;
        return {1, std::nullopt};
    }
    if (request.requestType == 0x81 && request.request == 0x0A && !data.empty()) {
        data[0] = alternate;
        return {1, std::nullopt};
    }
    trace.push_back("control " + hex(request.requestType) + " " + hex(request.request));
    return {0, stall()};
}

SimATADisk::Reply SimEnclosure::executeOn(std::uint8_t lun, const Bytes& cdb) {
    lunsSeen.push_back(lun);
    if (lun == 0) return disk.execute(cdb);
    if (lun <= otherLUNs.size()) return otherLUNs[lun - 1u].execute(cdb);
    // LOGICAL UNIT NOT SUPPORTED
    return SimATADisk::Reply{2, {}, Bytes{0x70, 0, 0x05, 0, 0, 0, 0, 10, 0, 0, 0, 0, 0x25, 0x00}};
}

bool SimEnclosure::has(Fault fault) const {
    return std::any_of(faults_.begin(), faults_.end(), [&](const Active& a) { return a.fault == fault; });
}

SimEnclosure::Active* SimEnclosure::active(Fault fault) {
    for (Active& a : faults_) {
        if (a.fault == fault && a.readsLeft > 0) return &a;
    }
    return nullptr;
}

USBTransfer SimEnclosure::timedOut(double seconds) {
    timeWaited += seconds;
    return {0, timeout()};
}

USBTransfer SimEnclosure::bulk(std::uint8_t endpoint, std::span<std::uint8_t> data, double seconds) {
    if (onUAS()) {
        if (endpoint == uasCommandPipe) return receiveCommandIU(data);
        if (endpoint == uasDataOutPipe) {
            ++dataOutAttempts;
            return timedOut(seconds);
        }
        // Stream endpoints take stream reads only; High-Speed UAS (READ READY on the
        // status pipe) is refused by the transport before any command.
        return {0, layout_.streams ? invalidParam() : notFound()};
    }
    const bool onBulkOnly = layout_.bulkOnlySetting && alternate == 0;
    if (!onBulkOnly) return {0, notFound()};
    if (endpoint == layout_.bulkOut) {
        // A bridge stuck in a data phase takes no new wrapper until it is reset.
        if (state_ == State::stuck) return timedOut(seconds);
        return receiveCBW(data);
    }
    if (endpoint != layout_.bulkIn || !layout_.bulkInEndpoint) return {0, notFound()};
    if (halted_[endpoint]) {
        trace.push_back("in " + hex(endpoint) + " halted");
        return {0, stall()};
    }
    switch (state_) {
        case State::idle:
        case State::stuck:
            trace.push_back("in: nothing to send");
            return timedOut(seconds);
        case State::dataIn:
            return sendData(data, seconds);
        case State::status:
            return sendStatus(data, seconds);
    }
    return {0, notFound()};
}

void SimEnclosure::takeFaults(ByteView cdb) {
    faults_.clear();
    for (auto it = planned_.begin(); it != planned_.end();) {
        if (!it->opcode || (!cdb.empty() && *it->opcode == cdb[0])) {
            faults_.push_back({it->fault, it->reads, it->bytes});
            if (--it->commands <= 0) {
                it = planned_.erase(it);
                continue;
            }
        }
        ++it;
    }
}

USBTransfer SimEnclosure::receiveCBW(std::span<std::uint8_t> data) {
    if (halted_[layout_.bulkOut]) return {0, stall()};
    if (data.size() != 31 || le32(data, 0) != cbwSignature) {
        // An invalid wrapper halts both pipes until a reset recovery.
        trace.push_back("invalid CBW");
        halted_[layout_.bulkIn] = halted_[layout_.bulkOut] = true;
        return {data.size(), std::nullopt};
    }
    const std::uint32_t tag = le32(data, 4);
    const std::uint32_t length = le32(data, 8);
    const bool dataIn = (data[12] & 0x80) != 0;
    const std::size_t cdbLength = std::min<std::size_t>(data[14], 16);
    const Bytes cdb(data.begin() + 15, data.begin() + 15 + static_cast<std::ptrdiff_t>(cdbLength));
    trace.push_back("CBW " + hex(cdb.empty() ? 0u : cdb[0]) + " tag " + hex(tag, 8) +
                    " len " + std::to_string(length));
    tagsSeen.push_back(tag);

    takeFaults(cdb);
    if (has(Fault::cbwStall)) {
        halted_[layout_.bulkOut] = true;
        return {0, stall()};
    }
    if (!dataIn && length > 0) ++dataOutAttempts;

    const SimATADisk::Reply reply = executeOn(data[13] & 0x0F, cdb);
    previousTag_ = tag_;
    tag_ = tag;
    expected_ = length;
    cswStatus_ = reply.status == 0 ? 0 : 1;
    if (has(Fault::phaseError)) cswStatus_ = 2;
    dataFails_ = false;
    pendingData_.clear();
    if (dataIn && length > 0) {
        if (reply.status == 0) {
            pendingData_.assign(reply.data.begin(),
                                reply.data.begin() + static_cast<std::ptrdiff_t>(
                                                         std::min<std::size_t>(reply.data.size(), length)));
            for (const Active& a : faults_) {
                if (a.fault == Fault::shortData) pendingData_.resize(std::min(pendingData_.size(), a.bytes));
            }
        } else {
            dataFails_ = true;
        }
        state_ = State::dataIn;
    } else {
        state_ = State::status;
    }
    return {31, std::nullopt};
}

USBTransfer SimEnclosure::sendData(std::span<std::uint8_t> data, double seconds) {
    trace.push_back("data-in " + std::to_string(data.size()));
    if (has(Fault::dataNeverEnds)) {
        state_ = State::stuck;
        return timedOut(seconds);
    }
    if (has(Fault::dataStall) || dataFails_) {
        halted_[layout_.bulkIn] = true;
        state_ = State::status;
        return {0, stall()};
    }
    const std::size_t n = std::min(data.size(), pendingData_.size());
    std::copy_n(pendingData_.begin(), n, data.begin());
    expected_ -= static_cast<std::uint32_t>(n);
    state_ = State::status;
    if (pendingData_.size() > data.size()) return {n, overflow()};
    return {n, std::nullopt};
}

USBTransfer SimEnclosure::sendStatus(std::span<std::uint8_t> data, double seconds) {
    trace.push_back("status");
    if (has(Fault::statusNeverComes)) return timedOut(seconds);
    if (Active* a = active(Fault::statusStall)) {
        --a->readsLeft;
        halted_[layout_.bulkIn] = true;
        return {0, stall()};
    }
    if (data.size() < 13) return {0, overflow()};
    std::uint32_t tag = tag_;
    std::uint32_t signature = cswSignature;
    std::size_t length = 13;
    bool final = true;
    if (Active* a = active(Fault::staleStatus)) {
        --a->readsLeft;
        tag = previousTag_;
        final = false;
    } else if (Active* b = active(Fault::badSignature)) {
        --b->readsLeft;
        signature = 0x58425355;  // "USBX"
        final = false;
    } else if (Active* c = active(Fault::shortStatus)) {
        --c->readsLeft;
        length = 12;
        final = false;
    } else if (has(Fault::foreignTag)) {
        tag ^= 0xA5A5A5A5;
    }
    putLE32(data, 0, signature);
    putLE32(data, 4, tag);
    putLE32(data, 8, final ? expected_ : 0);
    if (length == 13) data[12] = final ? cswStatus_ : 0;
    if (final) state_ = State::idle;
    return {length, std::nullopt};
}

std::optional<USBError> SimEnclosure::clearHalt(std::uint8_t endpoint) {
    trace.push_back("clear " + hex(endpoint));
    halted_[endpoint] = false;
    if (clearHaltFails) return stall();
    return std::nullopt;
}

std::optional<USBError> SimEnclosure::portReset() {
    trace.push_back("port reset");
    // A reset ends every transfer on the device, whatever the device thought of them.
    killQueued(cancelled());
    state_ = State::idle;
    halted_.clear();
    alternate = 0;
    return std::nullopt;
}

// --- USB Attached SCSI

bool SimEnclosure::onUAS() const {
    return layout_.uasSetting && alternate == (layout_.bulkOnlySetting ? 1 : 0);
}

platform::Result<std::uint32_t, USBError> SimEnclosure::allocateStreams(
    std::uint32_t count, std::span<const std::uint8_t> endpoints) {
    std::string line = "streams";
    for (const std::uint8_t e : endpoints) line += " " + hex(e);
    trace.push_back(line);
    if (!onUAS() || !layout_.streams) return platform::Unexpected(invalidParam());
    streamEndpoints.assign(endpoints.begin(), endpoints.end());
    return std::min<std::uint32_t>(count, 16);
}

std::optional<USBError> SimEnclosure::freeStreams(std::span<const std::uint8_t> endpoints) {
    for (const std::uint8_t e : endpoints) {
        trace.push_back("free streams " + hex(e));
        const auto found = std::find(streamEndpoints.begin(), streamEndpoints.end(), e);
        if (found == streamEndpoints.end()) return invalidParam();
        streamEndpoints.erase(found);
    }
    return std::nullopt;
}

std::optional<USBError> SimEnclosure::submitStreamTransfer(
    std::uint8_t endpoint, std::uint32_t streamID, std::span<std::uint8_t> data,
    std::function<void(const USBTransfer&)> completion) {
    trace.push_back("queue " + hex(endpoint) + "/" + std::to_string(streamID) + " " +
                    std::to_string(data.size()));
    if (std::find(streamEndpoints.begin(), streamEndpoints.end(), endpoint) ==
            streamEndpoints.end() ||
        streamID == 0 || streamID > 16) {
        return invalidParam();
    }
    if (endpoint == uasDataOutPipe) ++dataOutAttempts;
    queued_.push_back({endpoint, streamID, data, std::move(completion)});
    progress();
    return std::nullopt;
}

void SimEnclosure::cancelStreamTransfers(std::uint8_t endpoint, std::uint32_t streamID) {
    trace.push_back("cancel " + hex(endpoint) + "/" + std::to_string(streamID));
    if (!cancelsComeBack) return;
    while (complete(endpoint, streamID, {}, cancelled())) {
    }
}

void SimEnclosure::killQueued(const USBError& why) {
    std::deque<Queued> killed;
    killed.swap(queued_);
    for (Queued& q : killed) q.completion({0, why});
}

// Completes the oldest read queued on that endpoint and stream, if there is one.
bool SimEnclosure::complete(std::uint8_t endpoint, std::uint32_t stream, const Bytes& bytes,
                            std::optional<USBError> error) {
    const auto found = std::find_if(queued_.begin(), queued_.end(), [&](const Queued& q) {
        return q.endpoint == endpoint && q.stream == stream;
    });
    if (found == queued_.end()) return false;
    Queued q = std::move(*found);
    queued_.erase(found);
    const std::size_t n = std::min(bytes.size(), q.data.size());
    std::copy_n(bytes.begin(), n, q.data.begin());
    if (!error && bytes.size() > q.data.size()) error = overflow();
    q.completion({n, error});
    return true;
}

USBTransfer SimEnclosure::receiveCommandIU(std::span<std::uint8_t> data) {
    if (data.size() < 32 || data[0] != 0x01) {
        trace.push_back("invalid IU");
        return {0, stall()};
    }
    const auto tag = static_cast<std::uint16_t>(data[2] << 8 | data[3]);
    const Bytes cdb(data.begin() + 16, data.begin() + 32);
    trace.push_back("IU " + hex(cdb[0]) + " tag " + std::to_string(tag));
    takeFaults(cdb);
    if (has(Fault::cbwStall)) return {0, stall()};

    const SimATADisk::Reply reply = executeOn(data[9], cdb);
    uas_ = {};
    uas_.tag = tag;
    std::uint8_t status = reply.status;
    if (reply.status == 0 && !reply.data.empty()) {
        uas_.data = reply.data;
        for (const Active& a : faults_) {
            if (a.fault == Fault::shortData) uas_.data->resize(std::min(uas_.data->size(), a.bytes));
        }
    }
    if (has(Fault::phaseError)) status = 2;
    // Sense IU: ID, reserved, tag, status qualifier, status, reserved, sense length, sense.
    Bytes iu(16, 0);
    iu[0] = 0x03;
    iu[2] = data[2];
    iu[3] = data[3];
    iu[6] = status;
    if (status != 0) {
        const Bytes& sense = reply.sense;
        iu[15] = static_cast<std::uint8_t>(sense.size());
        iu.insert(iu.end(), sense.begin(), sense.end());
    }
    if (has(Fault::responseIU)) iu = {0x04, 0, data[2], data[3], 0, 0, 0, 0};
    for (const Active& a : faults_) {
        if (a.fault == Fault::shortStatus) iu.resize(a.bytes == 0 ? 7 : a.bytes);
    }
    if (!has(Fault::statusNeverComes)) uas_.status = iu;
    uas_.statusStalls = has(Fault::statusStall);
    progress();
    return {32, std::nullopt};
}

// On a link with streams: the data of the command in progress goes to a read queued on
// data-in with the command's tag as stream, then its status to the status pipe. Data
// that never ends holds the data back but not the status.
void SimEnclosure::progress() {
    if (!layout_.streams || uas_.tag == 0) return;
    if (uas_.data && !has(Fault::dataNeverEnds)) {
        if (complete(uasDataInPipe, uas_.tag, *uas_.data)) uas_.data.reset();
    }
    const bool dataSettled = !uas_.data || has(Fault::dataNeverEnds);
    if (uas_.status && dataSettled) {
        const bool sent = uas_.statusStalls ? complete(uasStatusPipe, uas_.tag, {}, stall())
                                            : complete(uasStatusPipe, uas_.tag, *uas_.status);
        if (sent) uas_.status.reset();
    }
}

platform::Result<std::unique_ptr<platform::USBDevice>, USBError> SimUSBHost::open(
    std::uint32_t locationID) {
    if (openError) return platform::Unexpected(*openError);
    const auto found = devices.find(locationID);
    if (found == devices.end()) return platform::Unexpected(notFound());
    return found->second->open();
}

namespace {
// Plain pointers in a plain array: nothing here is destroyed at exit, so a capture kept
// open until then never meets a freed enclosure.
SimEnclosure* runLongEnclosures[16];
std::size_t runLongCount = 0;
}  // namespace

SimEnclosure& enclosureForTheRestOfTheRun(SimEnclosure::Layout layout) {
    if (runLongCount == std::size(runLongEnclosures)) std::abort();
    auto* enclosure = new SimEnclosure(layout);
    runLongEnclosures[runLongCount++] = enclosure;
    return *enclosure;
}

}  // namespace drivekit::sim
