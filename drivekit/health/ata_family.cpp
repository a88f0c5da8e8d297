#include "drivekit/health/ata_family.hpp"

#include "drivekit/core/name_pattern.hpp"
#include "drivekit/core/text.hpp"

#include <algorithm>
#include <array>
#include <initializer_list>
#include <stdexcept>
#include <vector>
#include <string>

namespace drivekit {
namespace {

using Kind = ATAFamily::Kind;

constexpr std::uint64_t GiB = 1'073'741'824;
constexpr std::uint64_t MiB32 = 33'554'432;
constexpr std::uint64_t sector = 512;

// Model patterns, tried in this order; the first match names the family. Drives whose
// controller doesn't show in their attributes, or shows misleadingly, are named here.
constexpr std::array<std::pair<Kind, const char*>, 7> kModelPatterns{{
    {Kind::crucial, R"(Crucial_CT|\bCT[0-9]+(MX[0-9]00|BX[35]00)SSD|\bMicron[_ ]|\bMTFDDA)"},
    {Kind::marvellSanDisk,
     R"(WDS[0-9]{3}[GT](1B|2B|1G|2G|1R)0[AB]|WDBNCE|WD Blue SA510|SanDisk Portable SSD|)"
     R"(SanDisk (SDSSDA-|SDSSDHP|SDSSDHII|Ultra II|SDSSDH[23]|SDSSDXP|SSD G5|SSD PLUS)|)"
     R"(SanDisk SD(5SG2|6S[BFP][12]M|7S[BN][67]S|8[ST][BN]8U|9S[BN]8W))"},
    {Kind::siliconMotion,
     R"(SKC600|ADATA[ _](SP550|SU(630|650|655|800|900)|IMSS332)|\bCT[0-9]+BX[12]00SSD|)"
     R"(TEAM ?(T253|L5Lite3D)|Patriot P2[01]0|MKNSSD|)"
     R"(\bTS[0-9]+[GT](SSD|MSA|MTS|ESD|PSD)(2[23]0S?|3[367]0[SI]?|4[0235]0[SIK]?|452K|630|800S?|830S)|)"
     R"(DREVO X1|\bR[35]SL[0-9]+G|SPCC M\.2|Vi550 S3|T-FORCE [0-9]+GB|KingDian S|OWC Envoy Pro|)"
     R"(LITEON L[CM]H-[0-9]+V2|CORSAIR FORCE LX|UMAX 2242)"},
    {Kind::phison,
     R"(Corsair Force LE|GOODRAM IRIDIUM|IRP?-SSDPR-S25|SSDPR-CX400|)"
     R"(Patriot (Blast|Blaze|Flare|Ignite|Burst)|PNY (CS(900|1311|2211)|ELITE PSSD)|PHISON|)"
     R"(TEAM L3 EVO|GP-GSTFS31|BP4 mSATA|SSD Smartbuy|DGSR2|SSM28[0-9]+GPTCB3B|SVM2S46|)"
     R"(KINGSTON ?(SUV300|SKC310|SKC400|SV310|SHSS3|SS200|SM2280S3G2|SEDC|O[CM]\w?P0S3|RBUSNS))"},
    {Kind::lexar, R"(\bLexar)"},
    {Kind::toshibaOCZ, R"(OCZ-TRION|TOSHIBA-TR150|TOSHIBA Q300)"},
    {Kind::jmicron,
     R"(ADATA (S596|SP310|SP600|SX930)|APPLE SSD TS[0-9]+C|)"
     R"(KINGSTON ?(SNV425S2|SSDNOW 30GB|SS100S2|SNVP325S2|SVP?100S2|SV200S3)|)"
     R"(Kingston SSDNow V Series|TOSHIBA THNS(128GG4|NC128GML)|)"
     R"(\bTS[0-9]+G(SSD25|SSD18|SSD340|MSA340|SSD740)|KingSpec KDM-SA|\bNT-(64|128|256|512|[12]T)\b)"},
}};

// The MX500 counts a pending sector of 1 that never goes away.
constexpr const char* kMX500 = "MX500";
// Phison firmware names, for models sold under names no pattern knows.
constexpr const char* kPhisonFirmware = "^S[89A-H]F[DKM]";

struct CompiledRules {
    std::vector<std::pair<Kind, NamePattern>> models;
    NamePattern mx500{kMX500, NamePattern::Span::anywhere};
    NamePattern phisonFirmware{kPhisonFirmware, NamePattern::Span::anywhere};
};

// Made once per process, on first use, and never freed: freeing the compiled expressions
// at exit took a one-shot command as long as matching every drive. Each expression
// compiles when a name first could match it; the test build compiles them all at once.
const CompiledRules& rules() {
    static const CompiledRules& compiled = *[] {
        auto* r = new CompiledRules;
        for (const auto& [kind, pattern] : kModelPatterns) {
            r->models.emplace_back(kind, NamePattern(pattern, NamePattern::Span::anywhere));
#ifndef NDEBUG
            if (!r->models.back().second.valid()) throw std::logic_error("a model pattern doesn't compile");
#endif
        }
        return r;
    }();
    return compiled;
}

bool holdsAll(const ATAAttributeTable& table, std::initializer_list<std::uint8_t> ids) {
    return std::all_of(ids.begin(), ids.end(), [&](std::uint8_t id) { return table.contains(id); });
}

}  // namespace

ATAFamily ATAFamily::of(Kind kind) {
    ATAFamily f;
    f.kind = kind;
    switch (kind) {
        case Kind::generic:
            f.life = {231, 233, 177, 202, 169};
            f.eraseCounts = true;
            f.averageErase = {167, 173};
            f.spare = {232, 170};
            break;
        case Kind::hardDrive:
            break;
        case Kind::marvellSanDisk:
            f.life = {230};
            f.written = Written{241, GiB};
            f.spare = {232};
            break;
        case Kind::phison:
            f.life = {231};
            f.written = Written{241, GiB};
            f.ignored = {3, 7, 8, 10, 197};
            break;
        case Kind::siliconMotion:
            f.life = {231, 169};
            f.eraseCounts = true;
            f.written = Written{241, MiB32};
            f.spare = {232, 170};
            break;
        case Kind::crucial:
            f.life = {202};
            f.written = Written{246, sector};
            f.spare = {170};
            break;
        case Kind::kingston:
            f.life = {231};
            f.written = Written{241, GiB};
            break;
        case Kind::intel:
            f.life = {233, 231, 177, 202, 169};
            f.written = Written{241, MiB32};
            f.spare = {232};
            break;
        case Kind::lexar:
            f.life = {231};
            f.ignored = {167, 168, 177};
            break;
        case Kind::toshibaOCZ:
            f.ignored = {167, 168, 169};
            break;
        case Kind::jmicron:
            f.ignored = {167, 168, 169, 170, 187, 231, 232, 233};
            break;
    }
    return f;
}

ATAFamily familyFor(std::string_view model, std::optional<std::string_view> firmware,
                    const ATAAttributeTable& attributes, std::optional<bool> isSSD) {
    if (isSSD == false) return ATAFamily::of(Kind::hardDrive);

    const CompiledRules& r = rules();
    for (const auto& [kind, pattern] : r.models) {
        if (!pattern.matches(model)) continue;
        ATAFamily family = ATAFamily::of(kind);
        if (kind == Kind::crucial && r.mx500.matches(model)) family.pendingNoise = 1;
        return family;
    }

    if (firmware && r.phisonFirmware.matches(*firmware)) return ATAFamily::of(Kind::phison);

    // Attribute signatures come after the names: a controller's id set is a weaker
    // witness than its maker's model number.
    if (!attributes.empty()) {
        if (holdsAll(attributes, {230, 233, 234})) return ATAFamily::of(Kind::marvellSanDisk);
        if (holdsAll(attributes, {173, 244, 245, 246}) && !attributes.contains(167)) {
            return ATAFamily::of(Kind::phison);
        }
        if (attributes.contains(168) && !attributes.contains(230) &&
            (attributes.contains(167) || attributes.contains(245))) {
            return ATAFamily::of(Kind::siliconMotion);
        }
    }

    const std::string lower = text::asciiLowered(model);
    if (lower.find("kingston") != std::string::npos) return ATAFamily::of(Kind::kingston);
    if (lower.find("intel") != std::string::npos) return ATAFamily::of(Kind::intel);
    return ATAFamily::of(Kind::generic);
}

}  // namespace drivekit
