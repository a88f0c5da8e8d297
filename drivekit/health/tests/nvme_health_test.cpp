#include "drivekit/health/nvme_health.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

namespace drivekit {
namespace {

using namespace std::string_view_literals;

// Pages are laid out here by hand, offset by offset as the NVMe specification places the
// fields, so that a wrong offset in the decoder can't be mirrored by the test.
Bytes page(std::size_t size, std::uint8_t fill = 0) {
    return Bytes(size, fill);
}

void put(Bytes& buffer, std::size_t offset, std::initializer_list<std::uint8_t> bytes) {
    for (const std::uint8_t b : bytes) buffer.at(offset++) = b;
}

void putText(Bytes& buffer, std::size_t offset, std::string_view text) {
    for (const char c : text) buffer.at(offset++) = static_cast<std::uint8_t>(c);
}

Bytes identifyData() {
    Bytes id = page(4096);
    putText(id, 4, "S5GXNF0R123456      ");                       // serial, 20 bytes
    putText(id, 24, "Samsung SSD 980 PRO 1TB                 ");  // model, 40 bytes
    putText(id, 64, "5B2QGXA7");                                  // firmware, 8 bytes
    return id;
}

NVMeHealth decoded(const Bytes& log, const Bytes& identify = identifyData()) {
    auto health = NVMeHealth::decode(log, identify);
    EXPECT_TRUE(health.has_value());
    return health.value_or(NVMeHealth{});
}

TEST(NVMeHealthDecode, ReadsEveryFieldFromItsOwnOffset) {
    // Every byte the decoder must skip is 0xEE, so a field read one byte off shows.
    Bytes log = page(512, 0xEE);
    put(log, 0, {0x05});                                             // critical warning
    put(log, 1, {0x43, 0x01});                                       // 323 K
    put(log, 3, {98});                                               // available spare
    put(log, 4, {10});                                               // spare threshold
    put(log, 5, {7});                                                // percentage used
    put(log, 32, {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08});  // data units read
    put(log, 40, {0, 0, 0, 0, 0, 0, 0, 0});
    put(log, 48, {0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17, 0x18});  // data units written
    put(log, 56, {0, 0, 0, 0, 0, 0, 0, 0});
    put(log, 112, {0x21, 0x22, 0, 0, 0, 0, 0, 0});  // power cycles
    put(log, 120, {0, 0, 0, 0, 0, 0, 0, 0});
    put(log, 128, {0x31, 0x32, 0x33, 0, 0, 0, 0, 0});  // power-on hours
    put(log, 136, {0, 0, 0, 0, 0, 0, 0, 0});
    put(log, 144, {0x41, 0, 0, 0, 0, 0, 0, 0x01});  // unsafe shutdowns
    put(log, 152, {0, 0, 0, 0, 0, 0, 0, 0});
    put(log, 160, {0x51, 0, 0, 0, 0, 0, 0, 0});  // media errors
    put(log, 168, {0, 0, 0, 0, 0, 0, 0, 0});
    put(log, 176, {0x61, 0x62, 0, 0, 0, 0, 0, 0});  // error log entries
    put(log, 184, {0, 0, 0, 0, 0, 0, 0, 0});
    put(log, 192, {0x71, 0x72, 0x73, 0x74});  // warning temp minutes
    put(log, 196, {0x81, 0x82, 0x83, 0x04});  // critical temp minutes

    const NVMeHealth h = decoded(log);
    EXPECT_EQ(h.criticalWarning, 0x05);
    EXPECT_EQ(h.temperatureC, 50);
    EXPECT_EQ(h.availableSpare, 98);
    EXPECT_EQ(h.spareThreshold, 10);
    EXPECT_EQ(h.percentageUsed, 7);
    EXPECT_EQ(h.dataUnitsRead, 0x0807060504030201u);
    EXPECT_EQ(h.dataUnitsWritten, 0x1817161514131211u);
    EXPECT_EQ(h.powerCycles, 0x2221u);
    EXPECT_EQ(h.powerOnHours, 0x333231u);
    EXPECT_EQ(h.unsafeShutdowns, 0x0100000000000041u);
    EXPECT_EQ(h.mediaErrors, 0x51u);
    EXPECT_EQ(h.errorLogEntries, 0x6261u);
    EXPECT_EQ(h.warningTempMinutes, 0x74737271u);
    EXPECT_EQ(h.criticalTempMinutes, 0x04838281u);
    EXPECT_EQ(h.model, "Samsung SSD 980 PRO 1TB");
    EXPECT_EQ(h.serial, "S5GXNF0R123456");
    EXPECT_EQ(h.firmware, "5B2QGXA7");
}

TEST(NVMeHealthDecode, TemperatureIsKelvinWithZeroForNotReported) {
    Bytes log = page(512);
    EXPECT_EQ(decoded(log).temperatureC, std::nullopt);
    put(log, 1, {0x11, 0x01});  // 273 K
    EXPECT_EQ(decoded(log).temperatureC, 0);
    put(log, 1, {0xFA, 0x00});  // 250 K
    EXPECT_EQ(decoded(log).temperatureC, -23);
    put(log, 1, {0xFF, 0xFF});  // the largest value still decodes, nothing wraps
    EXPECT_EQ(decoded(log).temperatureC, 65535 - 273);
}

TEST(NVMeHealthDecode, CountersKeepTheirLowHalfWhenTheHighHalfIsSet) {
    Bytes log = page(512);
    for (const std::size_t counter : {32u, 48u, 112u, 128u, 144u, 160u, 176u}) {
        put(log, counter, {0x2A, 0, 0, 0, 0, 0, 0, 0});
        put(log, counter + 8, {0x01, 0, 0, 0, 0, 0, 0, 0xFF});
    }
    const NVMeHealth h = decoded(log);
    EXPECT_EQ(h.dataUnitsRead, 42u);
    EXPECT_EQ(h.dataUnitsWritten, 42u);
    EXPECT_EQ(h.powerCycles, 42u);
    EXPECT_EQ(h.powerOnHours, 42u);
    EXPECT_EQ(h.unsafeShutdowns, 42u);
    EXPECT_EQ(h.mediaErrors, 42u);
    EXPECT_EQ(h.errorLogEntries, 42u);
}

TEST(NVMeHealthDecode, ShortBuffers) {
    EXPECT_EQ(NVMeHealth::decode(page(511, 0x01), identifyData()), std::nullopt);
    EXPECT_EQ(NVMeHealth::decode(Bytes{}, identifyData()), std::nullopt);

    // A full log with no identify data at all still decodes, with empty names.
    const auto bare = NVMeHealth::decode(page(512), Bytes{});
    ASSERT_TRUE(bare);
    EXPECT_EQ(bare->model, "");
    EXPECT_EQ(bare->serial, "");
    EXPECT_EQ(bare->firmware, "");

    // 30 bytes hold the serial (4-23) but end inside the model (24-63).
    Bytes identify = page(30);
    putText(identify, 4, "SERIAL-0042         ");
    putText(identify, 24, "Modl");
    const NVMeHealth h = decoded(page(512), identify);
    EXPECT_EQ(h.serial, "SERIAL-0042");
    EXPECT_EQ(h.model, "");
    EXPECT_EQ(h.firmware, "");

    // The model ends at 63: 64 bytes hold it, and the firmware needs 72.
    Bytes upToModel = page(64);
    putText(upToModel, 24, "QEMU NVMe Ctrl");
    EXPECT_EQ(decoded(page(512), upToModel).model, "QEMU NVMe Ctrl");
    EXPECT_EQ(decoded(page(512), upToModel).firmware, "");
}

TEST(NVMeHealthDecode, TextFields) {
    Bytes identify = page(4096);
    for (std::size_t i = 24; i < 64; ++i) identify[i] = (i % 3 == 0) ? 0x00 : 0x20;
    putText(identify, 4, "\t  SN 1\x01\x00\x00  \n"sv);
    putText(identify, 64, "1.0\x00\x00\x00\x00\x00"sv);
    const NVMeHealth h = decoded(page(512), identify);
    EXPECT_EQ(h.model, "");  // forty blanks and NULs
    EXPECT_EQ(h.serial, "SN 1");
    EXPECT_EQ(h.firmware, "1.0");

    // Bytes that aren't UTF-8 are repaired rather than dropped or passed through.
    putText(identify, 24, "Disk \xFF");
    EXPECT_EQ(decoded(page(512), identify).model, "Disk \xEF\xBF\xBD");
}

Bytes fileBytes(const std::string& name) {
    std::ifstream in(std::filesystem::path(VANTREL_TEST_DATA) / "nvme" / name, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

TEST(NVMeHealthDecode, PagesOfARealController) {
    // Read with nvme-cli from QEMU 7.2's NVMe controller after 20 MiB of reads and 6 MiB
    // of writes; nvme-cli showed temperature 323, data units read 46 and written 13.
    const Bytes log = fileBytes("qemu-7.2-smart-log.bin");
    const Bytes identify = fileBytes("qemu-7.2-id-ctrl.bin");
    ASSERT_EQ(log.size(), 512u);
    ASSERT_EQ(identify.size(), 4096u);
    const NVMeHealth h = decoded(log, identify);
    EXPECT_EQ(h.criticalWarning, 0);
    EXPECT_EQ(h.temperatureC, 50);
    EXPECT_EQ(h.dataUnitsRead, 46u);
    EXPECT_EQ(h.dataUnitsWritten, 13u);
    EXPECT_EQ(h.powerOnHours, 0u);
    EXPECT_EQ(h.model, "QEMU NVMe Ctrl");
    EXPECT_EQ(h.serial, "HWLABNVME0001");
    EXPECT_EQ(h.firmware, "7.2.22");
    EXPECT_EQ(healthDetails(h, Locale{"en_US"})[6].value, "13 (6.7 MB)");
}

NVMeHealth sample() {
    NVMeHealth h;
    h.criticalWarning = 0x0A;
    h.temperatureC = 41;
    h.availableSpare = 100;
    h.spareThreshold = 10;
    h.percentageUsed = 3;
    h.dataUnitsRead = 1234;
    h.dataUnitsWritten = 58'593'750;  // 30 TB
    h.powerCycles = 1500;
    h.powerOnHours = 12345;
    h.unsafeShutdowns = 57;
    h.mediaErrors = 0;
    h.errorLogEntries = 2048;
    return h;
}

TEST(NVMeHealthDetails, TwelveRowsInOrderInEnglish) {
    const std::vector<Detail> expected = {
        {"Critical warning", "Critical warning", "0x0A"},
        {"Temperature", "Temperature", "41 °C"},
        {"Available spare", "Available spare", "100%"},
        {"Available spare threshold", "Available spare threshold", "10%"},
        {"Percentage used", "Percentage used", "3%"},
        {"Data units read", "Data units read", "1234 (631.8 MB)"},
        {"Data units written", "Data units written", "58593750 (30 TB)"},
        {"Power cycles", "Power cycles", "1500"},
        {"Power-on hours", "Power-on hours", "12345"},
        {"Unsafe shutdowns", "Unsafe shutdowns", "57"},
        {"Media and data integrity errors", "Media and data integrity errors", "0"},
        {"Error log entries", "Error log entries", "2048"},
    };
    EXPECT_EQ(healthDetails(sample(), Locale{"en_US"}), expected);
}

TEST(NVMeHealthDetails, ValueWordings) {
    const Locale en{"en_US"};
    auto value = [&](const NVMeHealth& h, std::size_t row) {
        return healthDetails(h, en)[row].value;
    };
    NVMeHealth h = sample();

    h.temperatureC.reset();
    EXPECT_EQ(value(h, 1), "Not reported");
    h.temperatureC = -23;
    EXPECT_EQ(value(h, 1), "-23 °C");

    h.percentageUsed = 254;
    EXPECT_EQ(value(h, 4), "254%");
    h.percentageUsed = 255;
    EXPECT_EQ(value(h, 4), "255% or more");

    h.criticalWarning = 0xFF;
    EXPECT_EQ(value(h, 0), "0xFF");

    // Zero is a number, not a word.
    h.dataUnitsRead = 0;
    EXPECT_EQ(value(h, 5), "0 (0 bytes)");
    // 2^55 units times 512,000 wraps to exactly 0 in 64 bits: the count stays, the size wraps.
    h.dataUnitsRead = 36'028'797'018'963'968u;
    EXPECT_EQ(value(h, 5), "36028797018963968 (0 bytes)");
    // Past the largest signed 64-bit value without wrapping: the size is capped there.
    h.dataUnitsWritten = 18'014'398'509'482u;
    EXPECT_EQ(value(h, 6), "18014398509482 (9.22 EB)");
    h.powerOnHours = UINT64_MAX;
    EXPECT_EQ(value(h, 8), "18446744073709551615");
}

TEST(NVMeHealthDetails, GermanValuesKeepTheirKeys) {
    const auto rows = healthDetails(sample(), Locale{"de_DE"});
    ASSERT_EQ(rows.size(), 12u);
    EXPECT_EQ(rows[5].key, "Data units read");
    EXPECT_EQ(rows[5].value, "1234 (631,8 MB)");
    EXPECT_EQ(rows[2].value, "100\u00A0%");  // ICU puts a no-break space before %
    EXPECT_EQ(rows[8].value, "12345");       // no grouping even where the locale would group
}

}  // namespace
}  // namespace drivekit
