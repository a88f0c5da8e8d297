#include "reports/report_plan.hpp"

#include "drivekit/core/text.hpp"

namespace reports {

using Part = ReportPlan::Part;

ReportPlan ReportPlan::make(const DriveShare& share) {
    const app::DriveSummary& drive = share.summary;
    const ShareContext& context = share.context;
    ReportPlan plan;
    plan.hasSerial = drive.id != drive.bsdName;
    plan.volumes = share.document.drive.volumes;
    plan.readings = plan.hasSerial ? static_cast<int>(context.readings.size()) : 0;

    plan.parts = {Part::summary, Part::information};
    if (!share.document.indicators.empty()) {
        plan.parts.push_back(Part::indicators);
        plan.parts.push_back(Part::problems);
    }
    if (drive.tier == drivekit::Tier::limited && share.counters) plan.parts.push_back(Part::counters);
    if (drive.temperatureC) plan.parts.push_back(Part::temperature);
    if (plan.hasSerial) plan.parts.push_back(Part::history);
    if (!drive.selfTests.empty()) plan.parts.push_back(Part::selfTests);
    if (context.benchmark && benchmarkOf(*context.benchmark)) plan.parts.push_back(Part::benchmark);
    if (context.scan && context.scan->result.readsDone >= 1) plan.parts.push_back(Part::surfaceScan);
    plan.parts.push_back(Part::readSource);
    plan.parts.push_back(Part::methodology);
    return plan;
}

std::string ReportPlan::heading(Part part) {
    switch (part) {
        case Part::summary: return "Health";
        case Part::information: return "Drive information";
        case Part::indicators: return "Health indicators";
        case Part::problems: return "Problem counts";
        case Part::counters: return "Linux\u2019s error counts";
        case Part::temperature: return "Temperature";
        case Part::history: return "History";
        case Part::selfTests: return "Self-test log";
        case Part::benchmark: return "Last benchmark";
        case Part::surfaceScan: return "Last surface scan";
        case Part::readSource: return "How Vantrel read it";
        case Part::methodology: return "How to read this report";
    }
    return {};
}

std::string ReportPlan::whatsInIt(bool limited) const {
    std::vector<std::string> items;
    for (const Part part : parts) {
        switch (part) {
            case Part::summary:
                items.emplace_back(limited ? "What Vantrel could see of its health"
                                           : "The health score and tier, the forecast and the key figures");
                break;
            case Part::information:
                items.emplace_back(hasSerial ? "drive information, with only the serial number\u2019s last few "
                                               "characters unless you include all of it"
                                             : "drive information");
                break;
            case Part::indicators: items.emplace_back("every health indicator and its status"); break;
            case Part::problems: items.emplace_back("the problem counts"); break;
            case Part::counters: items.emplace_back("Linux\u2019s error counters"); break;
            case Part::temperature: items.emplace_back("the highest temperature in 30 days"); break;
            case Part::history:
                items.push_back(readings > 0 ? drivekit::text::format("a summary of Vantrel\u2019s %d readings", readings)
                                             : std::string("Vantrel\u2019s history with it"));
                break;
            case Part::selfTests: items.emplace_back("the drive\u2019s self-test log"); break;
            case Part::benchmark: items.emplace_back("its last benchmark"); break;
            case Part::surfaceScan: items.emplace_back("its last surface scan"); break;
            case Part::readSource: items.emplace_back("how Vantrel read it"); break;
            case Part::methodology: items.emplace_back("how to read the report"); break;
        }
    }
    std::string text;
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (i > 0) text += i + 1 == items.size() ? "; and " : "; ";
        text += items[i];
    }
    text += ".";
    if (!volumes.empty()) {
        std::string names;
        for (std::size_t i = 0; i < volumes.size(); ++i) {
            if (i > 0) names += ", ";
            names += "\u201C" + volumes[i] + "\u201D";
        }
        text += volumes.size() == 1 ? " It names the drive\u2019s volume, " : " It names the drive\u2019s volumes, ";
        text += names + ".";
    }
    text += " No app names, no files.";
    return text;
}

}  // namespace reports
