// Every sentence of the benchmark, in one table: its refusals and failures, the names of
// its tests, and the words of its verdict.
#include "drivekit/bench/bench_wording.hpp"

#include "drivekit/bench/bench_runs.hpp"
#include "drivekit/bench/benchmark.hpp"
#include "drivekit/core/text.hpp"

namespace drivekit {

namespace benchmark {

std::string text(Failure failure, const std::string& detail) {
    switch (failure) {
        case Failure::driveFailing:
            return "This drive's health is failing, so Vantrel won't add the wear of a benchmark to it.";
        case Failure::readOnly:
            return "That volume is read-only, so the benchmark can't write its test file. Pick a volume that "
                   "can be written.";
        case Failure::tooLittleSpace:
            return "That volume has " + detail + " free. The benchmark needs " +
                   ByteSize::decimal(freeBytesNeeded, Locale{}) +
                   ", so its test file never fills the volume. Free some space, or pick another volume on "
                   "this drive.";
        case Failure::noDirectIO:
            return "That file system can't be read past the system's cache, so the benchmark would measure "
                   "memory, not the drive. Pick a folder on the drive itself.";
        case Failure::cannotCreate:
            return "Couldn’t create the test file (" + detail + ").";
        case Failure::writeFailed:
            return "Writing the test file failed. Is the volume full?";
    }
    return {};
}

std::string testName(BenchTest test) {
    switch (test) {
        case BenchTest::seqRead: return "Sequential read";
        case BenchTest::seqWrite: return "Sequential write";
        case BenchTest::rndRead: return "Random 4K read";
        case BenchTest::rndWrite: return "Random 4K write";
    }
    return {};
}

}  // namespace benchmark

namespace BenchWording {

std::string speed(double mbps, const Locale& locale) {
    return LocalFormat::count(static_cast<std::int64_t>(mbps + 0.5), locale) + " MB/s";
}

std::string note(std::optional<int> spread, long long runs, const Locale& locale) {
    if (!spread) return text::format("Average of %lld runs.", runs);
    const std::string percent = LocalFormat::percent(*spread, locale);
    if (*spread < 30) return "Runs varied by up to " + percent + ".";
    return "Runs varied by up to " + percent + ", so treat the average as rough.";
}

std::string noResultHeadline() { return "No result."; }
std::string noResultDetail() { return "The benchmark didn’t measure anything."; }
std::string doneHeadline() { return "Benchmark done."; }
std::string solidHeadline() { return "A solid run."; }
std::string jackpotHeadline() { return "Jackpot! Right up against the link’s limit."; }
std::string jackpotRibbon() { return "Link maxed out"; }

std::string unknownLinkDetail(double best, long long runs, const Locale& locale) {
    return speed(best, locale) + text::format(" over %lld runs.", runs);
}

std::string shareSentence(bool writes, double best, int percent, bool all, int ceiling,
                          const std::optional<std::string>& linkName, const Locale& locale) {
    std::string sentence = writes ? "Sequential writes averaged " : "Sequential reads averaged ";
    sentence += speed(best, locale);
    sentence += all ? ", all of the ~" : ", " + LocalFormat::percent(percent, locale) + " of the ~";
    sentence += speed(ceiling, locale);
    sentence += linkName ? " this " + LocalFormat::code(*linkName) + " link can carry." : " this connection can carry.";
    return sentence;
}

std::string drivePaces() { return "The drive sets the pace here, not the connection."; }
std::string linkPaces() { return "The connection is the limit here, not the drive."; }

}  // namespace BenchWording

}  // namespace drivekit
