// ICU's code is linked into vantrel, its data is not: the data is the system's
// libicudata, 30 MB that a copy in the program would only duplicate. ICU's code refers to
// its data by one symbol; an empty table of contents answers to that name, and the
// system's table is handed to ICU before DriveKit first asks ICU for locale or time-zone
// data, so every lookup finds it first. A run in plain English never opens it.
#include <dlfcn.h>
#include <unicode/udata.h>
#include <unicode/uvernum.h>

#include <cstdint>

#include "drivekit/core/icu_data.hpp"

namespace {

// The layout ICU reads at the start of a common data file: a header, the description of
// the data, and a table of contents, here with no entries.
struct alignas(16) EmptyCommonData {
    std::uint16_t headerSize;
    std::uint8_t magic1;
    std::uint8_t magic2;
    UDataInfo info;
    char padding[8];
    std::uint32_t count;
    std::uint32_t reserved;
    std::uint64_t noEntries[2];
};

#define VANTREL_TEXT(x) #x
#define VANTREL_NAME(x) VANTREL_TEXT(x)

void handSystemDataToICU() {
    void* library = ::dlopen("libicudata.so." U_ICU_VERSION_SHORT, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) return;  // then ICU has no locale data and says so where it's used
    const void* data = ::dlsym(library, VANTREL_NAME(U_ICUDATA_ENTRY_POINT));
    if (data == nullptr) return;
    UErrorCode status = U_ZERO_ERROR;
    udata_setCommonData(data, &status);
}

const bool loaderSet = (drivekit::ICUData::setLoader(handSystemDataToICU), true);

}  // namespace

extern "C" {
extern const EmptyCommonData U_ICUDATA_ENTRY_POINT;
const EmptyCommonData U_ICUDATA_ENTRY_POINT = {
    32,
    0xda,
    0x27,
    {sizeof(UDataInfo), 0, U_IS_BIG_ENDIAN, U_CHARSET_FAMILY, U_SIZEOF_UCHAR, 0, {0x43, 0x6d, 0x6e, 0x44}, {1, 0, 0, 0}, {0, 0, 0, 0}},
    {},
    0,
    0,
    {0, 0},
};
}
