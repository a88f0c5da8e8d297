#include "drivekit/health/report_json.hpp"

#include "drivekit/health/health_document.hpp"

#include <string>

namespace drivekit::ReportJSON {
namespace {

/// An array of records, always written, even when empty.
template <typename T, typename Encode>
json::Object arrayOf(const std::vector<T>& items, Encode encode) {
    json::Object array = json::Object::array();
    for (const auto& item : items) array.push_back(encode(item));
    return array;
}

/// An array of plain values, always written.
template <typename Range>
json::Object valuesOf(const Range& values) {
    json::Object array = json::Object::array();
    for (const auto& value : values) array.push_back(value);
    return array;
}

template <typename T>
void putOptionalRecord(json::Object& object, std::string_view key, const std::optional<T>& value,
                       json::Object (*encode)(const T&)) {
    if (value) object[std::string(key)] = encode(*value);
}

}  // namespace

json::Object volume(const Volume& volume) {
    json::Object object = json::Object::object();
    object["bsdName"] = volume.bsdName;
    json::putOptional(object, "name", volume.name);
    json::putOptional(object, "mountPoint", volume.mountPoint);
    json::putOptional(object, "fileSystem", volume.fileSystem);
    return object;
}

json::Object usbInfo(const USBInfo& usb) {
    json::Object object = json::Object::object();
    object["vendorID"] = usb.vendorID;
    object["productID"] = usb.productID;
    object["locationID"] = usb.locationID;
    json::putOptional(object, "productName", usb.productName);
    json::putOptional(object, "vendorName", usb.vendorName);
    object["registryID"] = usb.registryID;
    return object;
}

json::Object linkInfo(const LinkInfo& link) {
    json::Object object = json::Object::object();
    object["current"] = link.current;
    json::putOptional(object, "capable", link.capable);
    json::putOptional(object, "supported", link.supported);
    object["ceilingMBps"] = link.ceilingMBps;
    return object;
}

json::Object sataLink(const SATALink& link) {
    json::Object object = json::Object::object();
    if (link.current) object["current"] = static_cast<int>(*link.current);
    if (link.supported) object["supported"] = static_cast<int>(*link.supported);
    return object;
}

json::Object drive(const Drive& drive) {
    json::Object object = json::Object::object();
    object["bsdName"] = drive.bsdName;
    object["model"] = drive.model;
    object["sizeBytes"] = drive.sizeBytes;
    object["transport"] = std::string(TransportText::raw(drive.transport));
    json::putOptional(object, "isSolidState", drive.isSolidState);
    putOptionalRecord(object, "usb", drive.usb, &usbInfo);
    putOptionalRecord(object, "link", drive.link, &linkInfo);
    object["volumes"] = arrayOf(drive.volumes, &volume);
    object["isRAIDMember"] = drive.isRAIDMember;
    if (drive.raid) object["raid"] = drive.raid->toJSON();
    json::putOptional(object, "blockSize", drive.blockSize);
    object["hostsCurrentDirectory"] = drive.hostsCurrentDirectory;
    object["hostsBootVolume"] = drive.hostsBootVolume;
    return object;
}

json::Object finding(const Finding& finding) {
    json::Object object = json::Object::object();
    object["verdict"] = VerdictText::raw(finding.verdict);
    object["message"] = finding.message;
    if (finding.signal) object["signal"] = std::string(SignalText::raw(*finding.signal));
    return object;
}

json::Object detail(const Detail& detail) {
    json::Object object = json::Object::object();
    object["key"] = detail.key;
    object["label"] = detail.label;
    object["value"] = detail.value;
    return object;
}

json::Object ataAttribute(const ATAAttribute& attribute) {
    json::Object object = json::Object::object();
    object["id"] = attribute.id;
    object["flags"] = attribute.flags;
    object["value"] = attribute.value;
    object["worst"] = attribute.worst;
    object["threshold"] = attribute.threshold;
    object["raw"] = attribute.raw;
    return object;
}

json::Object selfTestEntry(const SelfTest::Entry& entry) {
    // Printed JSON names its cases as the health document does; the stored record keeps
    // the drive's raw numbers (SelfTest::Entry::toJSON).
    json::Object object = json::Object::object();
    object["kind"] = std::string(SelfTestRunText::kind(entry.kind));
    object["outcome"] = std::string(SelfTestRunText::outcome(entry.outcome));
    object["failed"] = SelfTest::failed(entry.outcome);
    object["powerOnHours"] = entry.powerOnHours;
    json::putOptional(object, "failingLBA", entry.failingLBA);
    return object;
}

json::Object forecast(const LifeForecast& forecast) {
    json::Object object = json::Object::object();
    object["lowYears"] = forecast.lowYears;
    object["highYears"] = forecast.highYears;
    object["confidence"] = std::string(ConfidenceText::raw(forecast.confidence));
    object["usesPrior"] = forecast.usesPrior;
    return object;
}

json::Object ataFamily(const ATAFamily& family) {
    json::Object object = json::Object::object();
    object["kind"] = std::string(ATAFamilyText::raw(family.kind));
    object["life"] = valuesOf(family.life);
    object["eraseCounts"] = family.eraseCounts;
    if (family.written) {
        json::Object written = json::Object::object();
        written["id"] = family.written->id;
        written["unit"] = family.written->unit;
        object["written"] = std::move(written);
    }
    object["averageErase"] = valuesOf(family.averageErase);
    object["spare"] = valuesOf(family.spare);
    object["ignored"] = valuesOf(family.ignored);
    object["pendingNoise"] = family.pendingNoise;
    return object;
}

json::Object ataReadings(const ATAReadings& readings) {
    json::Object object = json::Object::object();
    object["family"] = ataFamily(readings.family);
    json::putOptional(object, "isSSD", readings.isSSD);
    json::putOptional(object, "life", readings.life);
    object["lifeAttributes"] = valuesOf(readings.lifeAttributes);
    json::putOptional(object, "spare", readings.spare);
    json::putOptional(object, "spareThreshold", readings.spareThreshold);
    json::putOptional(object, "spareAttribute", readings.spareAttribute);
    json::putOptional(object, "reallocated", readings.reallocated);
    json::putOptional(object, "pending", readings.pending);
    json::putOptional(object, "offlineUncorrectable", readings.offlineUncorrectable);
    json::putOptional(object, "reportedUncorrectable", readings.reportedUncorrectable);
    json::putOptional(object, "commandTimeouts", readings.commandTimeouts);
    json::putOptional(object, "spinRetries", readings.spinRetries);
    json::putOptional(object, "crcErrors", readings.crcErrors);
    json::putOptional(object, "temperatureC", readings.temperatureC);
    json::putOptional(object, "temperatureAttribute", readings.temperatureAttribute);
    json::putOptional(object, "powerOnHours", readings.powerOnHours);
    json::putOptional(object, "writtenBytes", readings.writtenBytes);
    object["anyFailingNow"] = readings.anyFailingNow;
    return object;
}

json::Object encode(const HealthReport& report) {
    json::Object object = json::Object::object();
    object["drive"] = drive(report.drive);
    object["source"] = report.source;
    object["model"] = report.model;
    json::putOptional(object, "serial", report.serial);
    json::putOptional(object, "firmware", report.firmware);
    json::putOptional(object, "isSSD", report.isSSD);
    json::putOptional(object, "lifeRemainingPercent", report.lifeRemainingPercent);
    json::putOptional(object, "temperatureC", report.temperatureC);
    json::putOptional(object, "powerOnHours", report.powerOnHours);
    json::putOptional(object, "dataWrittenBytes", report.dataWrittenBytes);
    object["findings"] = arrayOf(report.findings, &finding);
    object["attributes"] = arrayOf(report.attributes, &ataAttribute);
    object["details"] = arrayOf(report.details, &detail);
    json::putOptional(object, "score", report.score);
    putOptionalRecord(object, "forecast", report.forecast, &forecast);
    object["selfTests"] = arrayOf(report.selfTests, &selfTestEntry);
    object["isReadOnly"] = report.isReadOnly;
    putOptionalRecord(object, "ata", report.ata, &ataReadings);
    putOptionalRecord(object, "sataLink", report.sataLink, &sataLink);
    return object;
}

}  // namespace drivekit::ReportJSON
