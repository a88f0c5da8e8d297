#pragma once
// PrintableStream: the one way human output leaves the program. Every line written to it
// goes through drivekit::text::printable before it reaches the stream underneath, so a
// drive model, volume label or process name holding escape sequences can't reach the
// user's terminal whichever command printed it. Newlines end lines as usual, so a line
// break inside such a string still breaks the line (shown, never interpreted otherwise);
// the texts the program writes itself hold no other control characters.
//
// JSON output isn't filtered (`enabled` false): its strings already escape controls, and
// its text must stay exactly what was serialised.
#include <ostream>
#include <streambuf>
#include <string>

namespace cli {

class PrintableStream final : public std::ostream {
  public:
    PrintableStream(std::ostream& target, bool enabled);
    ~PrintableStream() override;
    PrintableStream(const PrintableStream&) = delete;
    PrintableStream& operator=(const PrintableStream&) = delete;

  private:
    class Buffer final : public std::streambuf {
      public:
        Buffer(std::ostream& target, bool enabled) : target_(target), enabled_(enabled) {}
        int sync() override;

      protected:
        int_type overflow(int_type c) override;
        std::streamsize xsputn(const char* data, std::streamsize count) override;

      private:
        // Writes out the complete lines held, and with `all` the rest too, as far as it
        // ends on a whole UTF-8 sequence.
        void drain(bool all);

        std::ostream& target_;
        bool enabled_;
        std::string pending_;
    };
    Buffer buffer_;
};

}  // namespace cli
