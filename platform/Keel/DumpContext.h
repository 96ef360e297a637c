// DumpContext: where debug dumps go. printf-style, so that a dump line is one call; the text is never cut.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <string>

#include "Tyr/Export.h"

namespace Keel {

class VELBGP_EXPORT DumpContext {
 public:
  virtual ~DumpContext();

  // Formats as std::printf does and writes the result whole.
  void printf(const char* format, ...) __attribute__((format(printf, 2, 3)));
  // One dump line: `indent` spaces, then the text, then a line end. The indent is a width of printf's, which takes it for
  // a signed number of 32 bits: 0xfffffffe are two columns.
  void line(std::uint32_t indent, const std::string& text);

 private:
  virtual void write(const char* text, std::size_t octets) = 0;
};

// Collects a dump in a string.
class VELBGP_EXPORT StringDumpContext final : public DumpContext {
 public:
  ~StringDumpContext() override;
  const std::string& text() const noexcept { return text_; }

 private:
  void write(const char* text, std::size_t octets) override { text_.append(text, octets); }

  std::string text_;
};

}  // namespace Keel
