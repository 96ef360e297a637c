// Decoded communities by their class, without a cast by hand.
//
//   if (const auto* bandwidth = as<ExtCommLinkBandwidth>(comm)) use(bandwidth->bandwidth());
//
//   visit(comm,                                                      // one case for each class, or it does not compile
//         [](const ExtCommRouteTargetAs& target) { ... },
//         ...
//         [](const ExtComm& generic) { ... });
//
// Ownership: what comes back is the object that was given, and lives as long. Threads: as for the communities, which
// are immutable. No errors. No exceptions but those of the cases.
#pragma once

#include <concepts>
#include <tuple>
#include <type_traits>
#include <utility>

#include "VelBgp/ExtCommIp6.h"
#include "VelBgp/Parse/ExtCommColor.h"
#include "VelBgp/Parse/ExtCommDefaultGateway.h"
#include "VelBgp/Parse/ExtCommLinkBandwidth.h"
#include "VelBgp/Parse/ExtCommOriginValidationState.h"
#include "VelBgp/Parse/ExtCommRouteOrigin.h"
#include "VelBgp/Parse/ExtCommRouteTarget.h"
#include "VelBgp/Parse/ExtCommSourceAs.h"
#include "VelBgp/Parse/ExtCommTunnelEncap.h"
#include "VelBgp/Parse/ExtCommVrfRouteImport.h"

namespace Routing::Bgp {

// The community as this class, or null when it is of another; null of null. For the kinds, of the library or of others,
// and for the forms that they share: as<ExtCommAsNumber>(comm) is a route target of an AS, too.
template <typename Class, typename Comm>
const Class* as(const Comm* comm) noexcept {
  if constexpr (requires { Class::labels.classification; }) {
    // Every object of the kind has it, and most communities are told apart by it alone.
    if (comm == nullptr || comm->classification() != Class::labels.classification) return nullptr;
  }
  return dynamic_cast<const Class*>(comm);
}
template <typename Class, typename Comm>
const Class* as(const Tyr::Ptr<Comm>& comm) noexcept {
  return as<Class>(comm.get());
}
template <typename Class, typename Comm>
requires std::is_class_v<Comm>
const Class* as(const Comm& comm) noexcept { return as<Class>(&comm); }

// What a community is after decoding: the classes of the nine kinds, then the generic ones, each before its bases.
using ExtCommClasses =
    std::tuple<ExtCommRouteTargetAs, ExtCommRouteTargetIpv4Address, ExtCommRouteOriginAs, ExtCommRouteOriginIpv4Address,
               ExtCommSourceAs, ExtCommVrfRouteImportIpv4Address, ExtCommLinkBandwidth, ExtCommColor,
               ExtCommTunnelEncap, ExtCommDefaultGateway, ExtCommOriginValidationState, ExtCommAsNumber,
               ExtCommIpv4Address, ExtCommSubtyped, ExtComm>;

// The machine room of visit().
namespace visiting {

template <typename... Cases>
struct Overloads : Cases... {
  using Cases::operator()...;
};
template <typename... Cases>
Overloads(Cases...) -> Overloads<Cases...>;

// Stands for an object of just this class: a case that takes one of its bases does not take it.
template <typename Class>
struct Exactly {
  template <std::same_as<Class> Same>
  operator const Same&() const noexcept;
};

template <typename Cases, typename... Classes>
constexpr bool takesEach(std::type_identity<std::tuple<Classes...>>) {
  return (std::is_invocable_v<Cases&, Exactly<Classes>> && ...);
}
template <typename... Cases>
concept CasesOfAllClasses = takesEach<Overloads<std::decay_t<Cases>...>>(std::type_identity<ExtCommClasses>());

template <std::size_t place, typename Cases>
decltype(auto) visitFrom(const ExtComm& comm, Cases& cases) {
  using Class = std::tuple_element_t<place, ExtCommClasses>;
  if constexpr (place + 1 == std::tuple_size_v<ExtCommClasses>) {
    return cases(comm);
  } else {
    if (const Class* const typed = as<Class>(comm)) return cases(*typed);
    return visitFrom<place + 1>(comm, cases);
  }
}

}  // namespace visiting

// Calls the one case that takes the community's class, and gives what it gives. There is a case for each of
// ExtCommClasses, each taking that class by reference to const, and all give the same type; a class of others comes as
// the nearest of its bases.
template <typename... Cases>
requires visiting::CasesOfAllClasses<Cases...>
decltype(auto) visit(const ExtComm& comm, Cases&&... cases) {
  visiting::Overloads overloads{std::forward<Cases>(cases)...};
  return visiting::visitFrom<0>(comm, overloads);
}

}  // namespace Routing::Bgp
