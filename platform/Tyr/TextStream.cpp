#include "Tyr/TextStream.h"

#include <cstdio>
#include <typeinfo>

namespace Tyr {

TextStream::~TextStream() = default;

DynamicBufferInterface* TextStream::bufferOf(std::ostream& stream) noexcept {
  return typeid(stream) == typeid(TextStream) ? &static_cast<TextStream&>(stream).text_ : nullptr;
}

std::streamsize TextStream::xsputn(const char* octets, std::streamsize count) {
  text_.append(std::string_view(octets, static_cast<std::size_t>(count)));
  return count;
}

// Of one octet, or of none.
int TextStream::overflow(int octet) {
  if (octet == EOF) return 0;
  text_.append(static_cast<char>(octet));
  return octet;
}

}  // namespace Tyr
