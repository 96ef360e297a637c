// Texts of what a caller has in hand: lists by their counted pointers, and ranges of communities of any kind.
//
//   std::string text = stringify(list);                     // an ExtCommList::PtrConst, or one of another kind
//   join(std::cout, std::vector{routeTarget(65000, 1), routeTarget(65000, 2)});
//   join(std::cout, content.comms());
//
// Ownership: none kept. Threads: as for what is printed. Errors: std::bad_alloc.
#pragma once

#include <ostream>
#include <string>
#include <string_view>
#include <type_traits>

#include "Tyr/DynamicBuffer.h"
#include "VelBgp/CommList.h"
#include "VelBgp/ExtCommIp6List.h"
#include "VelBgp/ExtCommList.h"
#include "VelBgp/LargeCommList.h"

namespace Routing::Bgp {

// What the list's own stringify() gives, "NULL" for null.
template <typename List>
std::string stringify(const Tyr::Ptr<List>& list) {
  return stringify(list.get());
}
VELBGP_EXPORT std::string stringify(const ExtCommIp6ListBase* list);

// The text of one community: of an object its debugging form, of a content its hex digits, of a standard or large value
// its text in lists.
VELBGP_EXPORT std::string commText(const ExtComm* comm);
VELBGP_EXPORT std::string commText(const ExtCommIp6* comm);
VELBGP_EXPORT std::string commText(const ExtCommContent& content);
VELBGP_EXPORT std::string commText(const ExtCommIp6Content& content);
VELBGP_EXPORT std::string commText(const CommunityValue& value);
VELBGP_EXPORT std::string commText(std::uint32_t value);

// The same at the end of a text.
VELBGP_EXPORT void appendCommText(Tyr::DynamicBufferInterface& text, const ExtComm* comm);
VELBGP_EXPORT void appendCommText(Tyr::DynamicBufferInterface& text, const ExtCommIp6* comm);
VELBGP_EXPORT void appendCommText(Tyr::DynamicBufferInterface& text, const ExtCommContent& content);
VELBGP_EXPORT void appendCommText(Tyr::DynamicBufferInterface& text, const ExtCommIp6Content& content);
VELBGP_EXPORT void appendCommText(Tyr::DynamicBufferInterface& text, const CommunityValue& value);
VELBGP_EXPORT void appendCommText(Tyr::DynamicBufferInterface& text, std::uint32_t value);

// The communities of any range, a blank between them: objects by plain or counted pointers, contents, values. The
// stream's formatting state neither matters nor changes.
template <typename Range>
std::ostream& join(std::ostream& stream, const Range& communities) {
  Tyr::DynamicBuffer<512> text;
  std::string_view blank;
  for (const auto& community : communities) {
    text.append(blank);
    if constexpr (requires { community.get(); }) {
      appendCommText(text, community.get());
    } else {
      static_assert(!std::is_same_v<std::remove_cvref_t<decltype(community)>, std::uint64_t>,
                    "say what the numbers are: ExtCommContent for extended communities");
      appendCommText(text, community);
    }
    blank = " ";
  }
  return stream.write(text.data(), static_cast<std::streamsize>(text.size()));
}

}  // namespace Routing::Bgp
