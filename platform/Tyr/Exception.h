// The exceptions of the type system. All derive from Tyr::Exception; what() is the exact text that callers, logs and
// tests rely on.
#pragma once

#include <stdexcept>
#include <string>

#include "Tyr/Export.h"

namespace Tyr {

class VELBGP_EXPORT Exception : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
  ~Exception() override;
};

// A value outside the range of its attribute or operation; the text names that one.
class VELBGP_EXPORT RangeException : public Exception {
 public:
  using Exception::Exception;
  ~RangeException() override;
};

// A name that is no enumerator of the enumeration asked for.
class VELBGP_EXPORT BadNameException : public Exception {
 public:
  using Exception::Exception;
  ~BadNameException() override;
};

// Text that is not the reflection text of the type being read. Nothing was changed.
class VELBGP_EXPORT ParseException : public Exception {
 public:
  using Exception::Exception;
  ~ParseException() override;
};

// One attribute of a value could not be read back from text; the text names the attribute.
class VELBGP_EXPORT DeserializationException : public ParseException {
 public:
  DeserializationException(const std::string& attribute, const std::string& why)
      : ParseException("cannot deserialize attribute \"" + attribute + "\": " + why), attribute_(attribute) {}
  ~DeserializationException() override;
  const std::string& attribute() const noexcept { return attribute_; }

 private:
  std::string attribute_;
};

// A null pointer where an object is required; the text names the attribute.
class VELBGP_EXPORT NullArgumentException : public Exception {
 public:
  explicit NullArgumentException(const std::string& attribute) : Exception("null argument for " + attribute) {}
  ~NullArgumentException() override;
};

}  // namespace Tyr
