// A stream that writes into a text buffer, for what can only be printed to streams.
//
//   Tyr::DynamicBuffer<> text;
//   Tyr::TextStream(text) << comm;
//
// A std::ostringstream drops what it has no memory for and says so in a flag that nobody looks at. Here the exception
// comes out of the operator, so a text is whole or there is none.
//
// Ownership: the buffer is the caller's. Threads: one at a time. Errors: those of the buffer, and of what is printed.
#pragma once

#include <ostream>
#include <streambuf>

#include "Tyr/DynamicBuffer.h"

namespace Tyr {

class VELBGP_EXPORT TextStream final : private std::streambuf, public std::ostream {
 public:
  explicit TextStream(DynamicBufferInterface& text) : std::ostream(this), text_(text) { exceptions(badbit); }
  ~TextStream() override;

  // The buffer of a stream that is a TextStream, null for any other: who writes unformatted text can go straight to it.
  static DynamicBufferInterface* bufferOf(std::ostream& stream) noexcept;

 private:
  std::streamsize xsputn(const char* octets, std::streamsize count) override;
  int overflow(int octet) override;

  DynamicBufferInterface& text_;
};

}  // namespace Tyr
