#include "cli/printable_stream.hpp"

#include "app/shown.hpp"

namespace cli {

PrintableStream::PrintableStream(std::ostream& target, bool enabled)
    : std::ostream(nullptr), buffer_(target, enabled) {
    rdbuf(&buffer_);
    // Standard error writes through at once; so does its filter.
    if (target.flags() & std::ios::unitbuf) setf(std::ios::unitbuf);
}

PrintableStream::~PrintableStream() { buffer_.pubsync(); }

PrintableStream::Buffer::int_type PrintableStream::Buffer::overflow(int_type c) {
    if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
    pending_.push_back(traits_type::to_char_type(c));
    if (c == '\n') drain(false);
    return c;
}

std::streamsize PrintableStream::Buffer::xsputn(const char* data, std::streamsize count) {
    pending_.append(data, static_cast<std::size_t>(count));
    if (pending_.find('\n') != std::string::npos) drain(false);
    return count;
}

int PrintableStream::Buffer::sync() {
    drain(true);
    target_.flush();
    return target_ ? 0 : -1;
}

void PrintableStream::Buffer::drain(bool all) {
    std::size_t end = pending_.rfind('\n');
    end = end == std::string::npos ? 0 : end + 1;
    if (all && end < pending_.size()) {
        // A flush in the middle of a character keeps its first bytes for the next write,
        // so the character isn't shown as two replacement marks.
        std::size_t cut = pending_.size();
        std::size_t back = 0;
        while (back < 3 && cut > end && (static_cast<unsigned char>(pending_[cut - 1]) & 0xC0u) == 0x80u) {
            --cut;
            ++back;
        }
        const auto lead = cut > end ? static_cast<unsigned char>(pending_[cut - 1]) : 0u;
        const std::size_t wanted = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 1;
        end = lead >= 0xC0 && pending_.size() - (cut - 1) < wanted ? cut - 1 : pending_.size();
    }
    if (end == 0) return;
    if (!enabled_) {
        target_.write(pending_.data(), static_cast<std::streamsize>(end));
    } else {
        std::size_t start = 0;
        while (start < end) {
            const std::size_t newline = pending_.find('\n', start);
            const std::size_t stop = newline == std::string::npos || newline >= end ? end : newline;
            target_ << drivekit::text::printable(std::string_view(pending_).substr(start, stop - start));
            if (stop < end) target_ << '\n';
            start = stop + 1;
        }
    }
    pending_.erase(0, end);
}

}  // namespace cli
