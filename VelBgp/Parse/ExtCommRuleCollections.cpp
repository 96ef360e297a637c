#include "VelBgp/Parse/ExtCommRuleCollections.h"

#include "BgpCommon/BgpHashMixImpl.h"

namespace Routing::Bgp {
namespace {

// Observers know the sets by these numbers.
constexpr unsigned firstNumber = 130;
constexpr unsigned numbers[] = {
#define BGP_PARSE_EXT_COMM_KEYED(Rule, Key, ruleInstance, handle, instantiate, add, number, ...) number,
#include "VelBgp/Parse/ExtCommFamilies.def"
};

constexpr bool numbersAscendByOne() {
  unsigned expected = firstNumber;
  for (const unsigned number : numbers) {
    if (number != expected++) return false;
  }
  return true;
}
static_assert(std::size(numbers) == 14 && numbersAscendByOne());
static_assert(std::variant_size_v<BgpParseExtCommAnyRuleKey> == std::size(numbers));

}  // namespace

const void* readPointerAttribute(Tyr::StrepIterator& it, const Tyr::StrepIterator& end, const char* attribute) {
  try {
    return Tyr::readPointer(it, end);
  } catch (const Tyr::ParseException& error) {
    throw Tyr::DeserializationException(attribute, error.what());
  }
}

std::size_t hashRuleAddress(const void* rule, std::uint32_t salt) noexcept {
  return singleAttributeHash(reinterpret_cast<std::uintptr_t>(rule), salt);
}

BgpParseExtCommRuleCollections::BgpParseExtCommRuleCollections() = default;
BgpParseExtCommRuleCollections::~BgpParseExtCommRuleCollections() = default;

TYR_FACTORIES(BgpParseExtCommRuleCollections::Ptr, bgpParseExtCommRuleCollections, BgpParseExtCommRuleCollections, (),
              ())

}  // namespace Routing::Bgp
