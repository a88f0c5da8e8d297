#include "drivekit/health/sense.hpp"

#include <gtest/gtest.h>

namespace drivekit {
namespace {

using Sense::ATARegisters;

// What libata sends after SMART RETURN STATUS with the check-condition bit: fixed format
// with VALID set, RECOVERED ERROR, 00h/1Dh; error, status, device and count in
// INFORMATION, LBA low, mid and high in COMMAND-SPECIFIC INFORMATION.
const Bytes libataFixed = {0xF0, 0x00, 0x01, 0x00, 0x50, 0x00, 0x00, 0x0A, 0x00,
                           0x00, 0x4F, 0xC2, 0x00, 0x1D, 0x00, 0x00, 0x00, 0x00};

// A bridge's descriptor sense with the ATA Status Return descriptor after an information
// descriptor, registers saying a threshold is exceeded.
const Bytes bridgeDescriptor = {0x72, 0x01, 0x00, 0x1D, 0x00, 0x00, 0x00, 0x1A,
                                // information descriptor (00h), 10 bytes after the header
                                0x00, 0x0A, 0x80, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
                                // ATA Status Return descriptor (09h)
                                0x09, 0x0C, 0x00, 0x00, 0x00, 0x07, 0x00, 0x11, 0x00, 0xF4, 0x00, 0x2C,
                                0xA0, 0x50};

TEST(Sense, DecodesKeyAndCodesOfBothFormats) {
    EXPECT_EQ(Sense::decode(libataFixed),
              (Sense::Data{Sense::Format::fixed, false, Sense::Key::recoveredError, 0x00, 0x1D}));
    EXPECT_EQ(Sense::decode(bridgeDescriptor),
              (Sense::Data{Sense::Format::descriptor, false, Sense::Key::recoveredError, 0x00, 0x1D}));

    // QEMU's USB disk refusing ATA PASS-THROUGH: fixed, ILLEGAL REQUEST, 20h/00h.
    const Bytes refused = {0x70, 0x00, 0x05, 0x00, 0x00, 0x00, 0x00, 0x0A, 0x00,
                           0x00, 0x00, 0x00, 0x20, 0x00, 0x00, 0x00, 0x00, 0x00};
    const auto data = Sense::decode(refused);
    ASSERT_TRUE(data);
    EXPECT_EQ(data->key, Sense::Key::illegalRequest);
    EXPECT_FALSE(data->ataInformationAvailable());
    EXPECT_EQ(Sense::describe(*data), "ILLEGAL REQUEST, ASC/ASCQ 20h/00h (invalid command operation code)");

    const Bytes deferred = {0x73, 0x03, 0x11, 0x00, 0, 0, 0, 0};
    ASSERT_TRUE(Sense::decode(deferred));
    EXPECT_EQ(Sense::describe(*Sense::decode(deferred)),
              "MEDIUM ERROR, ASC/ASCQ 11h/00h (unrecovered read error), deferred");
}

TEST(Sense, ShortOrUnknownBuffersGiveNothing) {
    EXPECT_FALSE(Sense::decode(Bytes{}));
    EXPECT_FALSE(Sense::decode(Bytes(18, 0x00)));  // response code 0: no sense at all
    EXPECT_FALSE(Sense::decode(Bytes{0x7F, 0x00, 0x05, 0x00}));
    // Fixed format ends before ASC/ASCQ.
    EXPECT_FALSE(Sense::decode(Bytes(libataFixed.begin(), libataFixed.begin() + 13)));
    EXPECT_FALSE(Sense::decode(Bytes{0x72, 0x05, 0x20}));
    EXPECT_FALSE(Sense::ataRegisters(Bytes(libataFixed.begin(), libataFixed.begin() + 13)));
}

TEST(Sense, ATARegistersFromFixedFormat) {
    EXPECT_EQ(Sense::ataRegisters(libataFixed),
              (ATARegisters{0x00, 0x50, 0x00, 0x00, 0x00, 0x4F, 0xC2, false}));

    Bytes failedCommand = libataFixed;
    failedCommand[3] = 0x04;  // ABRT
    failedCommand[4] = 0x51;  // DRDY, DSC, ERR
    failedCommand[8] = 0x80;  // a 48-bit command
    const auto registers = Sense::ataRegisters(failedCommand);
    ASSERT_TRUE(registers);
    EXPECT_TRUE(registers->failed());
    EXPECT_TRUE(registers->extended);
    EXPECT_EQ(registers->error, 0x04);

    // The same fields mean nothing without 00h/1Dh: an ordinary error's INFORMATION.
    Bytes mediumError = libataFixed;
    mediumError[2] = 0x03;
    mediumError[12] = 0x11;
    mediumError[13] = 0x00;
    EXPECT_FALSE(Sense::ataRegisters(mediumError));
}

TEST(Sense, ATARegistersFromTheStatusReturnDescriptor) {
    EXPECT_EQ(Sense::ataRegisters(bridgeDescriptor),
              (ATARegisters{0x00, 0x50, 0xA0, 0x07, 0x11, 0xF4, 0x2C, false}));

    // The descriptor holds the registers whatever the ASC says: a drive that aborted.
    const Bytes aborted = {0x72, 0x0B, 0x00, 0x00, 0x00, 0x00, 0x00, 0x0E, 0x09, 0x0C, 0x01,
                           0x04, 0x00, 0x00, 0x00, 0x00, 0x00, 0x4F, 0x00, 0xC2, 0x00, 0x51};
    const auto registers = Sense::ataRegisters(aborted);
    ASSERT_TRUE(registers);
    EXPECT_TRUE(registers->failed());
    EXPECT_TRUE(registers->extended);
}

TEST(Sense, MalformedDescriptorListsGiveNoRegisters) {
    // Cut inside the 09h descriptor.
    EXPECT_FALSE(Sense::ataRegisters(Bytes(bridgeDescriptor.begin(), bridgeDescriptor.end() - 1)));
    // The additional length stops the list before the 09h descriptor.
    Bytes stopsEarly = bridgeDescriptor;
    stopsEarly[7] = 12;
    EXPECT_FALSE(Sense::ataRegisters(stopsEarly));
    // A 09h descriptor shorter than its standard length.
    const Bytes tooShort = {0x72, 0x01, 0x00, 0x1D, 0, 0, 0, 0x04, 0x09, 0x02, 0x00, 0x00};
    EXPECT_FALSE(Sense::ataRegisters(tooShort));
    // Descriptor sense without any descriptor.
    EXPECT_FALSE(Sense::ataRegisters(Bytes{0x72, 0x01, 0x00, 0x1D, 0, 0, 0, 0}));
    // A descriptor whose length runs past the list must not hide a read past the end.
    const Bytes runsOver = {0x72, 0x01, 0x00, 0x1D, 0, 0, 0, 0x04, 0x00, 0xFF, 0x00, 0x00};
    EXPECT_FALSE(Sense::ataRegisters(runsOver));
}

}  // namespace
}  // namespace drivekit
