// What reaches the privileged service from any local user: a member name, a signature and
// arguments, decoded into one of the service's own operations or refused; and what comes
// back to a caller from the service (a check's reading, a failure). Nothing may crash, a
// decoded request names a bare kernel name, and a reading that decodes travels again
// unchanged.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "app/service/protocol.hpp"

namespace {

namespace Protocol = app::ServiceProtocol;

std::string_view take(std::string_view& data) {
    const auto cut = data.find('\0');
    const std::string_view part = data.substr(0, cut);
    data = cut == std::string_view::npos ? std::string_view() : data.substr(cut + 1);
    return part;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(bytes), size);
    std::string_view data = input;
    const std::string_view member = take(data);
    const std::string_view signature = take(data);
    std::vector<Protocol::Arg> args;
    while (!data.empty() && args.size() < 8) {
        const char tag = data.front();
        data.remove_prefix(1);
        if (tag == 's') {
            args.emplace_back(std::string(take(data)));
        } else if (tag == 'y' && !data.empty()) {
            args.emplace_back(static_cast<std::uint8_t>(data.front()));
            data.remove_prefix(1);
        } else if (tag == 'b' && !data.empty()) {
            args.emplace_back(data.front() != 0);
            data.remove_prefix(1);
        } else {
            args.emplace_back(Protocol::Other{std::string(1, tag)});
        }
    }
    if (const auto request = Protocol::decode(member, signature, args)) {
        const auto& method = Protocol::methodOf(request->operation);
        if (method.member != member || method.in != signature) std::abort();
        if (method.drive != Protocol::DriveKind::none && !Protocol::isKernelName(request->drive)) std::abort();
    }

    if (const auto answer = Protocol::decodeReading(input)) {
        const auto again = Protocol::decodeReading(Protocol::encodeReading(answer->reading, answer->lines));
        if (!again || again->reading.identity != answer->reading.identity ||
            again->reading.attributes != answer->reading.attributes || again->lines != answer->lines) {
            std::abort();
        }
    }
    if (const auto failure = Protocol::decodeFailure(input)) {
        if (Protocol::decodeFailure(Protocol::encodeFailure(*failure)) != failure) std::abort();
    }
    return 0;
}
