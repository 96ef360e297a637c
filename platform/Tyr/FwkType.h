// The descriptor by which an object of the type system tells its class. One constant per class, for the program's life.
#pragma once

#include <string_view>

namespace Tyr {

struct FwkType {
  // Namespaces included, "Routing::Bgp::ExtCommColor".
  const char* name;

  // What stands behind the last "::".
  constexpr std::string_view unqualifiedName() const noexcept {
    const std::string_view whole = name;
    const auto colons = whole.rfind("::");
    return colons == std::string_view::npos ? whole : whole.substr(colons + 2);
  }
};

}  // namespace Tyr

// The body of a class's fwkType(): TYR_FWK_TYPE(ExtComm, "Routing::Bgp::ExtComm")
#define TYR_FWK_TYPE(Class, className)               \
  const ::Tyr::FwkType& Class::fwkType() const {     \
    static constexpr ::Tyr::FwkType type{className}; \
    return type;                                     \
  }
