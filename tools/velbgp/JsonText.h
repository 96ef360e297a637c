// JSON written as text from front to back, without a tree of values: what is printed a million times.
//
//   JsonText json(buffer);
//   json.open('{').name("id").number(5).name("values").open('[').hex(octets).close(']').close('}');
//
// The commas come by themselves, also where the buffer is emptied on the way; that names and values take turns is the
// caller's. Texts are UTF-8 and are escaped as boost::json does it. Single-threaded.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "Tyr/DynamicBuffer.h"
#include "tools/velbgp/Text.h"

namespace VelBgpTool {

class Console;

// Of a member, put into words by the compiler: `,"name":`.
template <std::size_t N>
struct JsonName {
  consteval JsonName(const char (&name)[N]) {
    std::copy_n(name, N - 1, text + 2);
    text[N + 1] = '"';
    text[N + 2] = ':';
  }
  char text[N + 3] = {',', '"'};
};

class JsonText {
 public:
  explicit JsonText(Tyr::DynamicBufferInterface& out) : out_(out) {}

  JsonText& open(char bracket) {
    separated().out_.append(bracket);
    return follows(false);
  }
  JsonText& close(char bracket) {
    out_.append(bracket);
    return follows(true);
  }
  // Of a member, needs no escapes.
  JsonText& name(std::string_view name) {
    plain(name).out_.append(':');
    return follows(false);
  }
  // The same, faster: json.name<"id">().
  template <JsonName member>
  JsonText& name() {
    out_.append(std::string_view(member.text, sizeof member.text).substr(valueBefore_ ? 0 : 1));
    return follows(false);
  }
  JsonText& text(std::string_view utf8) {
    separated().out_.append('"');
    appendEscaped(utf8);
    return close('"');
  }
  // A text that needs no escapes.
  JsonText& plain(std::string_view text) {
    separated().out_.append('"');
    out_.append(text);
    return close('"');
  }
  JsonText& number(std::uint64_t value) {
    separated().out_.appendDecimal(value);
    return follows(true);
  }
  // true, false, null, or JSON that is ready.
  JsonText& word(std::string_view word) {
    separated().out_.append(word);
    return follows(true);
  }
  // Octets as a text of hex digits, behind a prefix.
  JsonText& hex(Octets octets, std::string_view prefix = "0x");
  // Prints what is in the buffer and empties it.
  void flush(Console& console);

 private:
  JsonText& separated() {
    if (valueBefore_) out_.append(',');
    return *this;
  }
  JsonText& follows(bool value) {
    valueBefore_ = value;
    return *this;
  }
  void appendEscaped(std::string_view utf8);

  Tyr::DynamicBufferInterface& out_;
  bool valueBefore_ = false;
};

}  // namespace VelBgpTool
