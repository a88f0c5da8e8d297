#include "app/service/protocol.hpp"

#include <array>
#include <utility>

#include "drivekit/core/json.hpp"

namespace app::ServiceProtocol {

using drivekit::Unexpected;
namespace json = drivekit::json;

namespace {

constexpr std::array methodTable{
    Method{Operation::nvmeHealthLog, "NVMeHealthLog", "s", "ay", Action::readHealth, DriveKind::nvme},
    Method{Operation::nvmeIdentify, "NVMeIdentify", "s", "ay", Action::readHealth, DriveKind::nvme},
    Method{Operation::ataPowerMode, "ATAPowerMode", "sy", "ay", Action::readHealth, DriveKind::ata},
    Method{Operation::ataIdentify, "ATAIdentify", "sy", "ay", Action::readHealth, DriveKind::ata},
    Method{Operation::ataSmartData, "ATASmartData", "sy", "ay", Action::readHealth, DriveKind::ata},
    Method{Operation::ataSmartThresholds, "ATASmartThresholds", "sy", "ay", Action::readHealth, DriveKind::ata},
    Method{Operation::ataSelfTestLog, "ATASelfTestLog", "sy", "ay", Action::readHealth, DriveKind::ata},
    Method{Operation::ataSmartStatus, "ATASmartStatus", "sy", "ay", Action::readHealth, DriveKind::ata},
    Method{Operation::startSelfTest, "StartSelfTest", "ssy", "ay", Action::selfTest, DriveKind::ata},
    Method{Operation::usbCheck, "USBCheck", "sb", "s", Action::usbCheck, DriveKind::usb},
    Method{Operation::processWrites, "ProcessWrites", "", "s", Action::writeAccounting, DriveKind::none},
    // A scan answers when it ends, with what it read; a stop leaves that answer partial.
    Method{Operation::surfaceScan, "SurfaceScan", "ss", "s", Action::surfaceScan, DriveKind::any},
    // The same scan of a USB drive taken from its kernel driver, as the careful check takes
    // it; its progress and cancel are the scan's, its answer also carries the capture's steps.
    Method{Operation::captureScan, "CaptureScan", "ss", "s", Action::surfaceScan, DriveKind::usb},
    Method{Operation::scanProgress, "ScanProgress", "s", "s", std::nullopt, DriveKind::any},
    Method{Operation::cancelScan, "CancelScan", "s", "", std::nullopt, DriveKind::any},
};

constexpr std::array<std::pair<Failure::Kind, std::string_view>, 24> failureKinds{{
    {Failure::Kind::noSuchDevice, "noSuchDevice"},
    {Failure::Kind::partition, "partition"},
    {Failure::Kind::unknownKind, "unknownKind"},
    {Failure::Kind::noDrives, "noDrives"},
    {Failure::Kind::needsRoot, "needsRoot"},
    {Failure::Kind::notAuthorized, "notAuthorized"},
    {Failure::Kind::cantOpen, "cantOpen"},
    {Failure::Kind::noSCSI, "noSCSI"},
    {Failure::Kind::noPassThrough, "noPassThrough"},
    {Failure::Kind::unusableIdentify, "unusableIdentify"},
    {Failure::Kind::notSupported, "notSupported"},
    {Failure::Kind::readFailed, "readFailed"},
    {Failure::Kind::asleep, "asleep"},
    {Failure::Kind::noCapture, "noCapture"},
    {Failure::Kind::notUSB, "notUSB"},
    {Failure::Kind::captureRefused, "captureRefused"},
    {Failure::Kind::captureFailed, "captureFailed"},
    {Failure::Kind::captureDeviceGone, "captureDeviceGone"},
    {Failure::Kind::interrupted, "interrupted"},
    {Failure::Kind::noSelfTests, "noSelfTests"},
    {Failure::Kind::selfTestRunning, "selfTestRunning"},
    {Failure::Kind::selfTestNotStarted, "selfTestNotStarted"},
    {Failure::Kind::cantWatch, "cantWatch"},
    {Failure::Kind::noDirectReads, "noDirectReads"},
}};

Refusal refusal(Refusal::Kind kind, std::string message) { return Refusal{kind, std::move(message)}; }

const std::string* stringAt(const std::vector<Arg>& args, std::size_t i) {
    return i < args.size() ? std::get_if<std::string>(&args[i]) : nullptr;
}

const std::uint8_t* byteAt(const std::vector<Arg>& args, std::size_t i) {
    return i < args.size() ? std::get_if<std::uint8_t>(&args[i]) : nullptr;
}

template <typename T>
std::optional<T> field(const json::Object& object, const char* key) {
    const auto found = object.find(key);
    if (found == object.end()) return std::nullopt;
    if constexpr (std::is_same_v<T, std::string>) {
        if (!found->is_string()) return std::nullopt;
    } else if constexpr (std::is_same_v<T, bool>) {
        if (!found->is_boolean()) return std::nullopt;
    } else {
        if (!found->is_number_integer()) return std::nullopt;
        if constexpr (std::is_unsigned_v<T>) {
            if (!found->is_number_unsigned()) return std::nullopt;
            if (found->template get<std::uint64_t>() > std::numeric_limits<T>::max()) return std::nullopt;
        } else {
            const auto v = found->template get<std::int64_t>();
            if (v < std::numeric_limits<T>::min() || v > std::numeric_limits<T>::max()) return std::nullopt;
        }
    }
    return found->template get<T>();
}

std::optional<drivekit::SATALink::Speed> speedOf(const json::Object& object, const char* key) {
    const auto raw = field<int>(object, key);
    if (!raw || *raw < 1 || *raw > 3) return std::nullopt;
    return static_cast<drivekit::SATALink::Speed>(*raw);
}

}  // namespace

std::string_view actionId(Action action) {
    switch (action) {
        case Action::readHealth: return "com.orlend.vantrel.read-health";
        case Action::selfTest: return "com.orlend.vantrel.self-test";
        case Action::usbCheck: return "com.orlend.vantrel.usb-check";
        case Action::surfaceScan: return "com.orlend.vantrel.surface-scan";
        case Action::writeAccounting: return "com.orlend.vantrel.write-accounting";
    }
    return "com.orlend.vantrel.read-health";
}

std::span<const Method> methods() { return methodTable; }

const Method& methodOf(Operation operation) {
    for (const auto& method : methodTable) {
        if (method.operation == operation) return method;
    }
    return methodTable.front();
}

bool isKernelName(std::string_view name) {
    if (name.empty() || name.size() > 32) return false;
    if (name.front() < 'a' || name.front() > 'z') return false;
    for (const char c : name) {
        const bool letter = c >= 'a' && c <= 'z';
        const bool digit = c >= '0' && c <= '9';
        if (!letter && !digit) return false;
    }
    return true;
}

std::optional<drivekit::SAT::Variant> formOf(std::uint8_t length) {
    if (length == 16) return drivekit::SAT::Variant::sixteen;
    if (length == 12) return drivekit::SAT::Variant::twelve;
    return std::nullopt;
}

std::optional<drivekit::SelfTest::Kind> testOf(std::string_view word) {
    if (word == "short") return drivekit::SelfTest::Kind::short_;
    if (word == "extended") return drivekit::SelfTest::Kind::extended;
    return std::nullopt;
}

std::optional<drivekit::surface_scan::Mode> modeOf(std::string_view word) {
    if (word == "quick") return drivekit::surface_scan::Mode::quick;
    if (word == "full") return drivekit::surface_scan::Mode::full;
    return std::nullopt;
}

std::string_view testWord(drivekit::SelfTest::Kind kind) {
    return kind == drivekit::SelfTest::Kind::extended ? "extended" : "short";
}

drivekit::Result<Request, Refusal> decode(std::string_view member, std::string_view signature,
                                          const std::vector<Arg>& args) {
    const Method* method = nullptr;
    for (const auto& each : methodTable) {
        if (each.member == member) method = &each;
    }
    if (!method) return Unexpected(refusal(Refusal::Kind::unknownMethod, "No such method."));
    if (signature != method->in) {
        return Unexpected(refusal(Refusal::Kind::invalidArgs,
                                  std::string(method->member) + " takes (" + std::string(method->in) + ")."));
    }
    Request request;
    request.operation = method->operation;
    if (method->drive == DriveKind::none) return request;
    const std::string* drive = stringAt(args, 0);
    if (!drive) return Unexpected(refusal(Refusal::Kind::invalidArgs, "The drive's name is missing."));
    if (!isKernelName(*drive)) {
        return Unexpected(refusal(Refusal::Kind::invalidArgs, "Not the kernel name of a disk."));
    }
    request.drive = *drive;
    std::size_t next = 1;
    if (method->operation == Operation::startSelfTest) {
        const std::string* word = stringAt(args, next++);
        const auto kind = word ? testOf(*word) : std::nullopt;
        if (!kind) return Unexpected(refusal(Refusal::Kind::invalidArgs, "The test is \"short\" or \"extended\"."));
        request.test = *kind;
    }
    if (method->operation == Operation::surfaceScan || method->operation == Operation::captureScan) {
        const std::string* word = stringAt(args, next++);
        const auto mode = word ? modeOf(*word) : std::nullopt;
        if (!mode) return Unexpected(refusal(Refusal::Kind::invalidArgs, "The mode is \"quick\" or \"full\"."));
        request.mode = *mode;
    }
    if (method->operation == Operation::usbCheck) {
        const bool* wake = next < args.size() ? std::get_if<bool>(&args[next]) : nullptr;
        if (!wake) return Unexpected(refusal(Refusal::Kind::invalidArgs, "Whether to wake a sleeping disk is missing."));
        request.wake = *wake;
    }
    if (method->drive == DriveKind::ata) {
        const std::uint8_t* length = byteAt(args, next);
        const auto form = length ? formOf(*length) : std::nullopt;
        if (!form) return Unexpected(refusal(Refusal::Kind::invalidArgs, "The pass-through form is 16 or 12."));
        request.form = *form;
    }
    return request;
}

std::string encodeReading(const drivekit::Checker::Reading& reading, const std::vector<std::string>& lines) {
    json::Object out;
    if (reading.enclosure) {
        out["enclosure"] = {{"vendor", reading.enclosure->vendor}, {"product", reading.enclosure->product}};
    }
    const auto& id = reading.identity;
    json::Object identity = {{"model", id.model},
                             {"serial", id.serial},
                             {"firmware", id.firmware},
                             {"sectors", id.sectors},
                             {"smartSupported", id.smartSupported},
                             {"smartEnabled", id.smartEnabled},
                             {"logicalSectorSize", id.logicalSectorSize}};
    json::putOptional(identity, "rotationRate", id.rotationRate);
    if (id.sataLink) {
        json::Object link = json::Object::object();
        if (id.sataLink->current) link["current"] = static_cast<int>(*id.sataLink->current);
        if (id.sataLink->supported) link["supported"] = static_cast<int>(*id.sataLink->supported);
        identity["sataLink"] = link;
    }
    out["identity"] = identity;
    out["variant"] = drivekit::SAT::length(reading.variant);
    json::Object attributes = json::Object::array();
    for (const auto& a : reading.attributes) {
        attributes.push_back({{"id", a.id},
                              {"flags", a.flags},
                              {"value", a.value},
                              {"worst", a.worst},
                              {"threshold", a.threshold},
                              {"raw", a.raw}});
    }
    out["attributes"] = attributes;
    json::Object tests = json::Object::array();
    for (const auto& entry : reading.selfTests) tests.push_back(entry.toJSON());
    out["selfTests"] = tests;
    out["smartStatus"] = std::string(drivekit::SMARTStatusText::raw(reading.smartStatus));
    out["source"] = reading.source;
    out["lines"] = lines;
    return json::dump(out, json::Layout::compact);
}

std::optional<CheckAnswer> decodeReading(std::string_view text) {
    const auto parsed = json::parse(text);
    if (!parsed || !parsed->is_object()) return std::nullopt;
    const auto& in = *parsed;
    CheckAnswer answer;
    auto& reading = answer.reading;
    if (const auto enclosure = in.find("enclosure"); enclosure != in.end()) {
        if (!enclosure->is_object()) return std::nullopt;
        const auto vendor = field<std::string>(*enclosure, "vendor");
        const auto product = field<std::string>(*enclosure, "product");
        if (!vendor || !product) return std::nullopt;
        reading.enclosure = drivekit::ATACommands::Inquiry{*vendor, *product};
    }
    const auto identity = in.find("identity");
    if (identity == in.end() || !identity->is_object()) return std::nullopt;
    const auto model = field<std::string>(*identity, "model");
    const auto serial = field<std::string>(*identity, "serial");
    const auto firmware = field<std::string>(*identity, "firmware");
    const auto sectors = field<std::uint64_t>(*identity, "sectors");
    const auto supported = field<bool>(*identity, "smartSupported");
    const auto enabled = field<bool>(*identity, "smartEnabled");
    const auto sectorSize = field<std::int64_t>(*identity, "logicalSectorSize");
    if (!model || !serial || !firmware || !sectors || !supported || !enabled || !sectorSize) return std::nullopt;
    reading.identity = {*model, *serial, *firmware, field<int>(*identity, "rotationRate"), *sectors,
                        *supported, *enabled, *sectorSize, std::nullopt};
    if (const auto link = identity->find("sataLink"); link != identity->end()) {
        if (!link->is_object()) return std::nullopt;
        reading.identity.sataLink = drivekit::SATALink{speedOf(*link, "current"), speedOf(*link, "supported")};
    }
    const auto variant = field<int>(in, "variant");
    const auto form = variant && *variant > 0 && *variant < 256 ? formOf(static_cast<std::uint8_t>(*variant))
                                                                : std::nullopt;
    if (!form) return std::nullopt;
    reading.variant = *form;
    const auto attributes = in.find("attributes");
    if (attributes == in.end() || !attributes->is_array()) return std::nullopt;
    for (const auto& a : *attributes) {
        if (!a.is_object()) return std::nullopt;
        const auto id = field<std::uint8_t>(a, "id");
        const auto flags = field<std::uint16_t>(a, "flags");
        const auto value = field<std::uint8_t>(a, "value");
        const auto worst = field<std::uint8_t>(a, "worst");
        const auto threshold = field<std::uint8_t>(a, "threshold");
        const auto raw = field<std::uint64_t>(a, "raw");
        if (!id || !flags || !value || !worst || !threshold || !raw) return std::nullopt;
        drivekit::ATAAttribute attribute;
        attribute.id = *id;
        attribute.flags = *flags;
        attribute.value = *value;
        attribute.worst = *worst;
        attribute.threshold = *threshold;
        attribute.raw = *raw;
        reading.attributes.push_back(attribute);
    }
    const auto tests = in.find("selfTests");
    if (tests == in.end() || !tests->is_array()) return std::nullopt;
    for (const auto& t : *tests) {
        const auto entry = t.is_object() ? drivekit::SelfTest::Entry::fromJSON(t) : std::nullopt;
        if (!entry) return std::nullopt;
        reading.selfTests.push_back(*entry);
    }
    const auto status = field<std::string>(in, "smartStatus");
    const auto parsedStatus = status ? drivekit::SMARTStatusText::parse(*status) : std::nullopt;
    const auto source = field<std::string>(in, "source");
    if (!parsedStatus || !source) return std::nullopt;
    reading.smartStatus = *parsedStatus;
    reading.source = *source;
    const auto lines = in.find("lines");
    if (lines == in.end() || !lines->is_array()) return std::nullopt;
    for (const auto& line : *lines) {
        if (!line.is_string()) return std::nullopt;
        answer.lines.push_back(line.get<std::string>());
    }
    return answer;
}

std::string encodeFailure(const Failure& failure) {
    std::string_view kind = "readFailed";
    for (const auto& [each, name] : failureKinds) {
        if (each == failure.kind) kind = name;
    }
    const json::Object out = {{"kind", kind},           {"device", failure.device}, {"detail", failure.detail},
                              {"error", failure.error}, {"bytes", failure.bytes},   {"percent", failure.percent},
                              {"usb", failure.usb},     {"taken", failure.taken}};
    return json::dump(out, json::Layout::compact);
}

std::optional<Failure> decodeFailure(std::string_view text) {
    const auto parsed = json::parse(text);
    if (!parsed || !parsed->is_object()) return std::nullopt;
    const auto kind = field<std::string>(*parsed, "kind");
    if (!kind) return std::nullopt;
    Failure failure;
    bool known = false;
    for (const auto& [each, name] : failureKinds) {
        if (name == *kind) {
            failure.kind = each;
            known = true;
        }
    }
    const auto device = field<std::string>(*parsed, "device");
    const auto detail = field<std::string>(*parsed, "detail");
    const auto error = field<int>(*parsed, "error");
    const auto bytes = field<int>(*parsed, "bytes");
    const auto percent = field<int>(*parsed, "percent");
    const auto usb = field<bool>(*parsed, "usb");
    const auto taken = field<bool>(*parsed, "taken");
    if (!known || !device || !detail || !error || !bytes || !percent || !usb || !taken) return std::nullopt;
    failure.device = *device;
    failure.detail = *detail;
    failure.error = *error;
    failure.bytes = *bytes;
    failure.percent = *percent;
    failure.usb = *usb;
    failure.taken = *taken;
    return failure;
}

}  // namespace app::ServiceProtocol
