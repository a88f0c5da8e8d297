// The JSON form of a drive summary and the records it holds. Written in field order;
// read leniently where a release could have left a value out, strictly where every
// release wrote one.
#include "app/drive_summary.hpp"
#include "app/json_fields.hpp"
#include "drivekit/health/report_json.hpp"

namespace app {

using namespace drivekit;

namespace {

namespace field = jsonfield;

template <typename T>
json::Object arrayOf(const std::vector<T>& items) {
    json::Object array = json::Object::array();
    for (const auto& item : items) array.push_back(item.toJSON());
    return array;
}

json::Object textsOf(const std::vector<std::string>& items) {
    json::Object array = json::Object::array();
    for (const auto& item : items) array.push_back(item);
    return array;
}

std::optional<LifeForecast> forecastFromJSON(const json::Object& object) {
    const auto low = field::number(object, "lowYears");
    const auto high = field::number(object, "highYears");
    const auto confidenceText = field::text(object, "confidence");
    const auto confidence = confidenceText ? ConfidenceText::parse(*confidenceText) : std::nullopt;
    const auto usesPrior = field::boolean(object, "usesPrior");
    if (!low || !high || !confidence || !usesPrior) return std::nullopt;
    return LifeForecast{*low, *high, *confidence, *usesPrior};
}

template <typename T, typename Decode>
std::optional<T> optionalRecord(const json::Object& parent, std::string_view key, Decode decode) {
    const json::Object* object = field::object(parent, key);
    if (object == nullptr) return std::nullopt;
    return decode(*object);
}

}  // namespace

json::Object FreeSpace::toJSON() const {
    json::Object object = json::Object::object();
    object["free"] = free;
    object["total"] = total;
    return object;
}

std::optional<FreeSpace> FreeSpace::fromJSON(const json::Object& object) {
    const auto free = field::int64(object, "free");
    const auto total = field::int64(object, "total");
    if (!free || !total) return std::nullopt;
    return FreeSpace{*free, *total};
}

json::Object VolumeInfo::toJSON() const {
    json::Object object = json::Object::object();
    object["name"] = name;
    object["mountPoint"] = mountPoint;
    json::putOptional(object, "fileSystem", fileSystem);
    if (space) object["space"] = space->toJSON();
    return object;
}

std::optional<VolumeInfo> VolumeInfo::fromJSON(const json::Object& object) {
    auto name = field::text(object, "name");
    auto mountPoint = field::text(object, "mountPoint");
    // Files of earlier builds also hold "isTimeMachine", always false on Linux: ignored.
    if (!name || !mountPoint) return std::nullopt;
    return VolumeInfo{std::move(*name), std::move(*mountPoint), field::text(object, "fileSystem"),
                      optionalRecord<FreeSpace>(object, "space", &FreeSpace::fromJSON)};
}

json::Object DriveSummary::toJSON() const {
    json::Object o = json::Object::object();
    o["id"] = id;
    o["bsdName"] = bsdName;
    o["name"] = name;
    o["model"] = model;
    o["kind"] = std::string(DriveKindText::raw(kind));
    o["tier"] = std::string(TierText::raw(tier));
    json::putOptional(o, "score", score);
    o["title"] = title;
    o["line"] = line;
    o["findings"] = textsOf(findings);
    json::putOptional(o, "lifeLeft", lifeLeft);
    json::putOptional(o, "lifeUsed", lifeUsed);
    json::putOptional(o, "spare", spare);
    json::putOptional(o, "dataErrors", dataErrors);
    if (forecast) o["forecast"] = ReportJSON::forecast(*forecast);
    json::putOptional(o, "temperatureC", temperatureC);
    json::putOptional(o, "powerOnHours", powerOnHours);
    json::putOptional(o, "dataWrittenBytes", dataWrittenBytes);
    o["capacityBytes"] = capacityBytes;
    json::putOptional(o, "link", link);
    json::putOptional(o, "linkNote", linkNote);
    json::putOptional(o, "ceilingMBps", ceilingMBps);
    o["readSource"] = readSource;
    o["healthLog"] = arrayOf(healthLog);
    o["isRAIDMember"] = isRAIDMember;
    json::putOptional(o, "mountPoint", mountPoint);
    json::putOptional(o, "volumeName", volumeName);
    if (raid) o["raid"] = raid->toJSON();
    o["modelHidden"] = modelHidden;
    o["hostsBootVolume"] = hostsBootVolume;
    if (space) o["space"] = space->toJSON();
    o["volumes"] = arrayOf(volumes);
    o["insight"] = insight.toJSON();
    json::putOptional(o, "usbKey", usbKey);
    json::putOptional(o, "usbSignature", usbSignature);
    json::putOptional(o, "usbProductName", usbProductName);
    o["disksOnTop"] = textsOf(disksOnTop);
    o["smartStatus"] = std::string(SMARTStatusText::raw(smartStatus));
    o["liveUSBHealth"] = liveUSBHealth;
    o["selfTests"] = arrayOf(selfTests);
    json::putOptional(o, "readOnly", readOnly);
    if (flaggedSignals) o["flaggedSignals"] = textsOf(*flaggedSignals);
    if (history) o["history"] = arrayOf(*history);
    json::putOptional(o, "ownScore", ownScore);
    if (transferMode) o["transferMode"] = transferMode->toJSON();
    json::putOptional(o, "hasVolumes", hasVolumes);
    json::putOptional(o, "usbNVMeBridge", usbNVMeBridge);
    json::putOptional(o, "asleep", asleep);
    return o;
}

std::optional<DriveSummary> DriveSummary::fromJSON(const json::Object& o) {
    if (!o.is_object()) return std::nullopt;
    DriveSummary s;

    // Fields every release wrote: one missing or damaged spoils the record.
    auto id = field::text(o, "id");
    auto bsdName = field::text(o, "bsdName");
    auto name = field::text(o, "name");
    auto model = field::text(o, "model");
    const auto kindText = field::text(o, "kind");
    const auto kind = kindText ? DriveKindText::parse(*kindText) : std::nullopt;
    const auto tierText = field::text(o, "tier");
    const auto tier = tierText ? TierText::parse(*tierText) : std::nullopt;
    auto title = field::text(o, "title");
    auto line = field::text(o, "line");
    auto findings = field::texts(o, "findings");
    const auto capacity = field::int64(o, "capacityBytes");
    auto readSource = field::text(o, "readSource");
    auto healthLog = field::records(o, "healthLog", &DriveField::fromJSON);
    const auto isRAIDMember = field::boolean(o, "isRAIDMember");
    const auto modelHidden = field::boolean(o, "modelHidden");
    const auto hostsBootVolume = field::boolean(o, "hostsBootVolume");
    auto volumes = field::records(o, "volumes", &VolumeInfo::fromJSON);
    const json::Object* insightObject = field::object(o, "insight");
    auto insight = insightObject ? DriveInsight::fromJSON(*insightObject) : std::nullopt;
    auto disksOnTop = field::texts(o, "disksOnTop");
    const auto smartText = field::text(o, "smartStatus");
    const auto smartStatus = smartText ? SMARTStatusText::parse(*smartText) : std::nullopt;
    const auto liveUSBHealth = field::boolean(o, "liveUSBHealth");
    auto selfTests = field::records(o, "selfTests", &SelfTest::Entry::fromJSON);
    if (!id || !bsdName || !name || !model || !kind || !tier || !title || !line || !findings ||
        !capacity || !readSource || !healthLog || !isRAIDMember || !modelHidden ||
        !hostsBootVolume || !volumes || !insight || !disksOnTop || !smartStatus || !liveUSBHealth ||
        !selfTests) {
        return std::nullopt;
    }
    s.id = std::move(*id);
    s.bsdName = std::move(*bsdName);
    s.name = std::move(*name);
    s.model = std::move(*model);
    s.kind = *kind;
    s.tier = *tier;
    s.title = std::move(*title);
    s.line = std::move(*line);
    s.findings = std::move(*findings);
    s.capacityBytes = *capacity;
    s.readSource = std::move(*readSource);
    s.healthLog = std::move(*healthLog);
    s.isRAIDMember = *isRAIDMember;
    s.modelHidden = *modelHidden;
    s.hostsBootVolume = *hostsBootVolume;
    s.volumes = std::move(*volumes);
    s.insight = std::move(*insight);
    s.disksOnTop = std::move(*disksOnTop);
    s.smartStatus = *smartStatus;
    s.liveUSBHealth = *liveUSBHealth;
    s.selfTests = std::move(*selfTests);

    // Optional fields: a damaged or unknown value reads as absent.
    s.score = field::integer(o, "score");
    s.lifeLeft = field::integer(o, "lifeLeft");
    s.lifeUsed = field::integer(o, "lifeUsed");
    s.asleep = field::boolean(o, "asleep");
    s.spare = field::integer(o, "spare");
    s.dataErrors = field::uint64(o, "dataErrors");
    s.forecast = optionalRecord<LifeForecast>(o, "forecast", &forecastFromJSON);
    s.temperatureC = field::integer(o, "temperatureC");
    s.powerOnHours = field::uint64(o, "powerOnHours");
    s.dataWrittenBytes = field::uint64(o, "dataWrittenBytes");
    s.link = field::text(o, "link");
    s.linkNote = field::text(o, "linkNote");
    s.ceilingMBps = field::integer(o, "ceilingMBps");
    s.mountPoint = field::text(o, "mountPoint");
    s.volumeName = field::text(o, "volumeName");
    s.raid = optionalRecord<RAIDInfo>(o, "raid", &RAIDInfo::fromJSON);
    s.space = optionalRecord<FreeSpace>(o, "space", &FreeSpace::fromJSON);
    s.usbKey = field::text(o, "usbKey");
    s.usbSignature = field::text(o, "usbSignature");
    s.usbProductName = field::text(o, "usbProductName");
    s.readOnly = field::boolean(o, "readOnly");
    s.flaggedSignals = field::texts(o, "flaggedSignals");
    s.history = field::records(o, "history", &HistoryFinding::fromJSON);
    s.ownScore = field::integer(o, "ownScore");
    s.transferMode = optionalRecord<TransferMode>(o, "transferMode", &TransferMode::fromJSON);
    s.hasVolumes = field::boolean(o, "hasVolumes");
    s.usbNVMeBridge = field::boolean(o, "usbNVMeBridge");
    return s;
}

}  // namespace app
