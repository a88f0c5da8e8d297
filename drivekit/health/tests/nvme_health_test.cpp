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
    EXPECT_EQ(h.temperatureC, 50);
    EXPECT_EQ(h.dataUnitsRead, 46u);
    EXPECT_EQ(h.dataUnitsWritten, 13u);
    EXPECT_EQ(h.model, "QEMU NVMe Ctrl");
    EXPECT_EQ(h.serial, "HWLABNVME0001");
    EXPECT_EQ(h.firmware, "7.2.22");
    EXPECT_EQ(healthDetails(h, Locale{"en_US"})[6].value, "13 (6.7 MB)");
}

}  // namespace
}  // namespace drivekit
