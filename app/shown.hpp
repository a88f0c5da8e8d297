#pragma once
// What a front end shows, in one include: the records of a reading and the formatters of
// numbers, text and JSON that the core's answers are printed with. Front ends reach
// DriveKit only through the core; this is the part of DriveKit they may print from.
#include "drivekit/core/json.hpp"
#include "drivekit/core/local_format.hpp"
#include "drivekit/core/text.hpp"
#include "drivekit/core/version.hpp"
#include "drivekit/health/report.hpp"
#include "drivekit/health/health_document.hpp"
#include "drivekit/health/report_json.hpp"
#include "drivekit/health/self_test.hpp"
#include "drivekit/health/tier.hpp"
#include "drivekit/health/verdict.hpp"
#include "drivekit/health/wording.hpp"
#include "drivekit/scan/surface_scan.hpp"
#include "drivekit/usb/watcher.hpp"
