#pragma once
// Every sentence and label the main window shows that isn't a drive's own (those come from
// the summaries and their wording tables), in one table. Texts are as shown on Linux.
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "drivekit/core/local_format.hpp"

namespace desktop::Wording {

// Pages and groups of the sidebar.
inline constexpr std::string_view overview = "Overview";
inline constexpr std::string_view forecast = "Forecast";
inline constexpr std::string_view history = "History";
inline constexpr std::string_view healthData = "Health data";
inline constexpr std::string_view settings = "Settings";
inline constexpr std::string_view about = "About Vantrel";
inline constexpr std::string_view drives = "Drives";
inline constexpr std::string_view internal = "Internal";
inline constexpr std::string_view external = "External";
inline constexpr std::string_view checkEveryDrive = "Check every drive now";
inline constexpr std::string_view readHealthNow = "Read its health now";
inline constexpr std::string_view noDrives = "No drives were found.";

// The tabs.
inline constexpr std::string_view tabSummary = "Summary";
inline constexpr std::string_view tabIndicators = "Indicators";
inline constexpr std::string_view tabLog = "Log";
inline constexpr std::string_view tabTests = "Tests";
inline constexpr std::string_view tabTrends = "Trends";
inline constexpr std::string_view tabReadings = "Readings";
inline constexpr std::string_view tabGeneral = "General";
inline constexpr std::string_view tabChecking = "Checking";
inline constexpr std::string_view tabNotifications = "Notifications";
inline constexpr std::string_view tabDrives = "Drives";
inline constexpr std::string_view tabData = "Data";

// Overview.
inline constexpr std::string_view score = "Score";
inline constexpr std::string_view scoreOutOf = "%lld / 100";
inline constexpr std::string_view noScore = "No score";
inline constexpr std::string_view model = "Model";
inline constexpr std::string_view capacity = "Capacity";
inline constexpr std::string_view link = "Link";
inline constexpr std::string_view temperature = "Temperature";
inline constexpr std::string_view powerOn = "Powered on";
inline constexpr std::string_view powerOnHours = "%@ hours";
inline constexpr std::string_view written = "Data written";
inline constexpr std::string_view lifeLeft = "Life left";
inline constexpr std::string_view rated = "Rated life";
inline constexpr std::string_view readThrough = "Read";
inline constexpr std::string_view volumes = "Volumes";
inline constexpr std::string_view freeOf = "%@ free of %@";
inline constexpr std::string_view notMounted = "Not mounted";
inline constexpr std::string_view liveSpeeds = "Read and write speed";
inline constexpr std::string_view readSpeed = "Read";
inline constexpr std::string_view writeSpeed = "Write";
inline constexpr std::string_view megabytesPerSecond = "MB/s";

// Swap and the footer.
inline constexpr std::string_view swap = "Swap";
inline constexpr std::string_view swapUsed = "Swap in use";
inline constexpr std::string_view noSwap = "No swap";
inline constexpr std::string_view usedOf = "%@ of %@";
inline constexpr std::string_view swappedOut = "Swapped out since boot";
inline constexpr std::string_view pressure = "Memory pressure";
inline constexpr std::string_view pressureNormal = "Normal";
inline constexpr std::string_view pressureElevated = "Elevated";
inline constexpr std::string_view pressureHigh = "High";
inline constexpr std::string_view writtenSinceBoot = "Written to the system drive since boot";
inline constexpr std::string_view swappedTrend = "Swapped out per day (GB)";
inline constexpr std::string_view footer = "Vantrel wrote %@ · %@ CPU";

// Writes.
inline constexpr std::string_view writes = "Writes";
inline constexpr std::string_view tabToday = "Today";
inline constexpr std::string_view tabPerDay = "Per day";
inline constexpr std::string_view writer = "Written by";
inline constexpr std::string_view share = "Share";
inline constexpr std::string_view day = "Day";
inline constexpr std::string_view writtenToday = "Written to the system drive today: %@";
inline constexpr std::string_view webPages = "Web pages";
inline constexpr std::string_view systemWriter = "System";
inline constexpr std::string_view writesNote =
    "Each program’s write count, as the kernel keeps it, read every 30 seconds. It stays on this computer.";

// Forecast.
inline constexpr std::string_view withPriorAndPace =
    "Estimated from a typical rating for this capacity: the drive hasn’t reported any wear yet. The pace is from "
    "your last %lld days of writes.";
inline constexpr std::string_view withPrior =
    "Estimated from a typical rating for this capacity: the drive hasn’t reported any wear yet.";
inline constexpr std::string_view lowNoPrior = "Estimated from lifetime averages. It sharpens after two weeks of history.";
inline constexpr std::string_view fromPace = "Estimated from your last %lld days of writes.";
inline constexpr std::string_view fromRecent = "Estimated from your recent writes.";
inline constexpr std::string_view needsWrites =
    "Vantrel needs the drive’s lifetime writes and a day of power-on time to estimate it.";
inline constexpr std::string_view usedUp =
    "It has used all of its rated endurance. Many SSDs keep working well past it: keep your backups current.";
inline constexpr std::string_view noWear = "This drive doesn’t report its wear, so there’s nothing to estimate from.";
inline constexpr std::string_view noForecast = "No forecast";
inline constexpr std::string_view confidence = "%@ · %lld readings";
inline constexpr std::string_view confidenceOne = "%@ · %lld reading";
inline constexpr std::string_view lowConfidence = "Low confidence";
inline constexpr std::string_view mediumConfidence = "Medium confidence";
inline constexpr std::string_view highConfidence = "High confidence";
inline constexpr std::string_view atCurrentUsage = "At your current usage";
inline constexpr std::string_view ifYouWriteLess = "If you write %@ less";
inline constexpr std::string_view gainYears = "+%lld years";
inline constexpr std::string_view gainMonths = "+%lld months";
inline constexpr std::string_view todaysPace = "Today’s pace";
inline constexpr std::string_view gainSentenceYears = "If you write %@ less, you’d gain about %lld years.";
inline constexpr std::string_view gainSentenceMonths = "If you write %@ less, you’d gain about %lld months.";
inline constexpr std::string_view keepWriting = "You keep writing like you do today.";
inline constexpr std::string_view writeLess = "Write less";
inline constexpr std::string_view lifeUsedAxis = "Life used (%)";

// History.
inline constexpr std::string_view waitForDays =
    "The charts appear once there are readings from two different days.";
inline constexpr std::string_view waitForWrittenDays =
    "The chart of data written per day appears once there are readings from three different days.";
inline constexpr std::string_view scoreTrend = "Score";
inline constexpr std::string_view temperatureTrend = "Temperature (°C)";
inline constexpr std::string_view lifeLeftTrend = "Life left (%)";
inline constexpr std::string_view writtenTrend = "Written per day (GB)";
inline constexpr std::string_view date = "Date";
inline constexpr std::string_view status = "Status";
inline constexpr std::string_view noReadings = "No readings of this drive are kept yet.";

// Health data.
inline constexpr std::string_view value = "Value";
inline constexpr std::string_view field = "Field";
inline constexpr std::string_view test = "Test";
inline constexpr std::string_view result = "Result";
inline constexpr std::string_view atHours = "At hour";
inline constexpr std::string_view surfaceScan = "Last surface scan";
inline constexpr std::string_view benchmark = "Last benchmark";
inline constexpr std::string_view seqRead = "Sequential read";
inline constexpr std::string_view seqWrite = "Sequential write";
inline constexpr std::string_view rndRead = "Random read";
inline constexpr std::string_view rndWrite = "Random write";

// Settings.
inline constexpr std::string_view appearance = "Appearance";
inline constexpr std::string_view appearanceSystem = "System";
inline constexpr std::string_view appearanceVoid = "Void";
inline constexpr std::string_view appearanceLab = "Lab";
inline constexpr std::string_view trayShows = "The tray icon shows";
inline constexpr std::string_view trayMark = "The mark alone";
inline constexpr std::string_view trayMarkAndScore = "The mark and this computer’s health score";
inline constexpr std::string_view openAtLogin = "Open at login";
inline constexpr std::string_view checkEvery = "Read the drives";
inline constexpr std::string_view every5 = "Every 5 minutes";
inline constexpr std::string_view every10 = "Every 10 minutes";
inline constexpr std::string_view every30 = "Every 30 minutes";
inline constexpr std::string_view everyHour = "Every hour";
inline constexpr std::string_view plugCard = "Show a card when a drive is plugged in";
inline constexpr std::string_view autoCheck = "Check USB drives handed over before when they are plugged in";
inline constexpr std::string_view handedOver = "USB drives handed over before: %lld";
inline constexpr std::string_view forgetAll = "Forget them all";
inline constexpr std::string_view notifyWorse = "A drive’s status gets worse";
inline constexpr std::string_view notifyChecked = "A plugged-in drive is checked";
inline constexpr std::string_view notifyEjected = "A drive is ejected";
inline constexpr std::string_view notifyLowSpace = "Free space runs low, under";
inline constexpr std::string_view notifyHot = "A drive runs hot";
inline constexpr std::string_view hide = "Hide %@";
inline constexpr std::string_view noExternal = "No external drives are connected.";
inline constexpr std::string_view keepReadings = "Keep readings for";
inline constexpr std::string_view days30 = "30 days";
inline constexpr std::string_view days90 = "90 days";
inline constexpr std::string_view days400 = "400 days";
inline constexpr std::string_view readingsKept = "%lld readings are kept; one is recorded at most every hour for each drive.";
inline constexpr std::string_view saveCSV = "Save as CSV…";
inline constexpr std::string_view deleteReadings = "Delete every reading";
inline constexpr std::string_view deleteAgain = "Click again to delete every reading";

// Health report.
inline constexpr std::string_view report = "Health report";
inline constexpr std::string_view reportLine =
    "A report of this drive’s health to keep or to send to a repair shop: its rating, the figures behind it, its "
    "history, and its last scan and benchmark. The serial number shows only its last characters.";
inline constexpr std::string_view savePDF = "Save as PDF…";
inline constexpr std::string_view savePNG = "Save as PNG…";
inline constexpr std::string_view reportSaved = "Saved to %@.";
inline constexpr std::string_view whatsInIt = "What’s in it: %@";
inline constexpr std::string_view reportFailed = "The report couldn’t be made: %@";

// The surface scan and the benchmark.
inline constexpr std::string_view scanSurface = "Scan surface…";
inline constexpr std::string_view runBenchmark = "Run benchmark…";
inline constexpr std::string_view scanTitle = "Surface scan";
inline constexpr std::string_view scanOf = "Surface scan: %@";
inline constexpr std::string_view scanLine =
    "Reads the drive from end to end and marks every part that can’t be read or reads slowly. It never writes "
    "to the drive, and the drive stays in use while it runs.";
inline constexpr std::string_view quickScan = "Quick: up to 2,048 reads spread over the drive";
inline constexpr std::string_view fullScan = "Full: every block, which can take hours";
inline constexpr std::string_view scanMode = "How much to read";
inline constexpr std::string_view start = "Start";
inline constexpr std::string_view cancel = "Cancel";
inline constexpr std::string_view scanMap = "Scan map";
inline constexpr std::string_view scanning = "Scanning %@: %@";
inline constexpr std::string_view cost = "Cost to Vantrel";
inline constexpr std::string_view ownUse = "%@% of a core · %@ MB of memory";
inline constexpr std::string_view benchTitle = "Benchmark";
inline constexpr std::string_view benchLine =
    "Writes a 1 GB test file in the folder, reads it back past the system’s cache and removes it: four tests, "
    "three runs each. It needs 2 GB free.";
inline constexpr std::string_view folder = "Folder";
inline constexpr std::string_view chooseFolder = "Choose…";
inline constexpr std::string_view noFolder = "Choose a folder on the drive to measure.";
inline constexpr std::string_view benchRun = "Run %@ of %@ · %@ · %@ · %@";
inline constexpr std::string_view benchStopped = "Stopped. The test file is removed and nothing was saved.";
inline constexpr std::string_view benchFileLeft = "The test file %@ couldn’t be removed.";

// About and the notice.
inline constexpr std::string_view aboutLine =
    "Vantrel tells you how healthy your drives are. It never writes to a drive, and nothing leaves this computer.";
inline constexpr std::string_view version = "Version %@";
inline constexpr std::string_view noService =
    "Reading drives needs root: install Vantrel's package (sudo apt install ./vantrel_*.deb) so that its "
    "service reads them for you, or start it with sudo.";

/// `pattern` with its placeholders filled in order: each "%@" takes the next text, each
/// "%lld" the next number formatted for the locale.
std::string fill(std::string_view pattern, std::initializer_list<std::string> texts);
std::string fill(std::string_view pattern, std::initializer_list<std::string> texts, long long number,
                 const drivekit::Locale& locale);

}  // namespace desktop::Wording
