#include "tools/velbgp/JsonText.h"

#include "tools/velbgp/Console.h"

namespace VelBgpTool {

namespace {

bool needsEscape(char c) { return static_cast<unsigned char>(c) < 0x20 || c == '"' || c == '\\'; }

}  // namespace

JsonText& JsonText::hex(Octets octets, std::string_view prefix) {
  separated().out_.append('"');
  out_.append(prefix);
  for (const std::uint8_t octet : octets) out_.appendHex(octet, 2);
  return close('"');
}

void JsonText::flush(Console& console) {
  console.print(out_.view());
  out_.clear();
}

void JsonText::appendEscaped(std::string_view utf8) {
  for (std::size_t begin = 0;;) {
    std::size_t end = begin;
    while (end < utf8.size() && !needsEscape(utf8[end])) ++end;
    out_.append(utf8.substr(begin, end - begin));
    if (end == utf8.size()) return;
    const char c = utf8[end];
    const std::size_t named = std::string_view("\b\f\n\r\t\"\\").find(c);
    out_.append('\\');
    if (named == std::string_view::npos) {
      out_.append('u');
      out_.appendHex(static_cast<unsigned char>(c), 4);
    } else {
      out_.append("bfnrt\"\\"[named]);
    }
    begin = end + 1;
  }
}

}  // namespace VelBgpTool
