// JSON written as text from front to back, without a tree of values: what is printed a million times.
//
//   JsonText json(buffer);
//   json.open('{').name("id").number(5).name("values").open('[').hex(octets).close(']').close('}');
//
// The commas come by themselves; that names and values take turns is the caller's. Texts are UTF-8 and are escaped as
// boost::json does it. Single-threaded.
#pragma once

#include <string_view>

#include "Tyr/DynamicBuffer.h"
#include "tools/velbgp/Text.h"

namespace VelBgpTool {

class JsonText {
 public:
  explicit JsonText(Tyr::DynamicBufferInterface& out) : out_(out) {}

  JsonText& open(char bracket) { return separated().put(bracket); }
  JsonText& close(char bracket) { return put(bracket); }
  // Of a member, needs no escapes.
  JsonText& name(std::string_view name) {
    separated().put('"').out_.append(name);
    out_.append("\":");
    return *this;
  }
  JsonText& text(std::string_view utf8) {
    separated().put('"').appendEscaped(utf8);
    return put('"');
  }
  JsonText& number(std::uint64_t value) {
    separated().out_.appendDecimal(value);
    return *this;
  }
  // true, false, null, or JSON that is ready.
  JsonText& word(std::string_view word) {
    separated().out_.append(word);
    return *this;
  }
  // Octets as a text of hex digits, behind a prefix.
  JsonText& hex(Octets octets, std::string_view prefix = "0x");

 private:
  JsonText& put(char c) {
    out_.append(c);
    return *this;
  }
  // Behind a value, which ends in none of these.
  JsonText& separated() {
    const char last = out_.empty() ? '{' : out_.data()[out_.size() - 1];
    return last == '{' || last == '[' || last == ':' ? *this : put(',');
  }
  void appendEscaped(std::string_view utf8);

  Tyr::DynamicBufferInterface& out_;
};

}  // namespace VelBgpTool
