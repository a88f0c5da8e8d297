#pragma once
// The JSON form of a HealthReport, as `vantrel check --json` prints it. Keys are the
// records' field names in the records' order; optional values are left out, never null;
// arrays are always written, empty as []; closed sets are written by their raw values
// (Transport "Internal NVMe", Signal "spare", Confidence "low"; the integer ones, Verdict,
// SelfTest::Outcome and SATALink::Speed, as their integers).
#include "drivekit/core/json.hpp"
#include "drivekit/discovery/drive.hpp"
#include "drivekit/discovery/link.hpp"
#include "drivekit/health/report.hpp"

namespace drivekit::ReportJSON {

json::Object encode(const HealthReport& report);

// The records a report holds, each on its own, for other writers of the same records.
json::Object drive(const Drive& drive);
json::Object volume(const Volume& volume);
json::Object usbInfo(const USBInfo& usb);
json::Object linkInfo(const LinkInfo& link);
json::Object sataLink(const SATALink& link);
json::Object finding(const Finding& finding);
json::Object detail(const Detail& detail);
json::Object ataAttribute(const ATAAttribute& attribute);
json::Object selfTestEntry(const SelfTest::Entry& entry);
json::Object forecast(const LifeForecast& forecast);
json::Object ataFamily(const ATAFamily& family);
json::Object ataReadings(const ATAReadings& readings);

}  // namespace drivekit::ReportJSON
