// Any octets as a block of path attributes: walked to their end, judged, interned, and what is written of the lists
// under every filter is walked again.
#include "VelBgp/AttributeWriter.h"
#include "VelBgp/CommunityTables.h"
#include "VelBgp/PathLists.h"
#include "VelBgp/ReceivedAttributes.h"
#include "fuzz/Agent.h"

namespace VelBgpFuzz {
namespace {

using Flags = ReceivedAttributes::Flags;

constexpr unsigned codes[] = {8, 16, 25, 32};
constexpr std::size_t octetsEach[] = {4, 8, 20, 12};

bool inside(Octets value, Octets block) {
  return value.empty() || (value.data() >= block.data() && value.data() + value.size() <= block.data() + block.size());
}

// One attribute behind the other, and nothing in between; gives those of each code.
std::array<std::vector<Octets>, 256> walked(Octets block) {
  std::array<std::vector<Octets>, 256> values;
  PathAttributeWalk walk(block);
  std::size_t at = 0;
  for (; walk.next();
       at = static_cast<std::size_t>(walk.attribute().value.data() - block.data()) + walk.attribute().value.size()) {
    const PathAttribute& attribute = walk.attribute();
    TYR_ASSERT(attribute.offset == at && block[at] == attribute.flags.value() && block[at + 1] == attribute.code);
    const std::size_t header = attribute.flags.extendedLength() ? 4 : 3;
    TYR_ASSERT(attribute.value.data() == block.data() + at + header && inside(attribute.value, block));
    values[attribute.code].push_back(attribute.value);
  }
  TYR_ASSERT(walk.verdict() == attributeVerdictWellFormed ? at == block.size() : walk.attribute().offset == at);
  TYR_ASSERT(!walk.next() && at <= block.size());
  return values;
}

void judged(const ReceivedAttributes& received, Octets block, bool withFlags) {
  const auto values = walked(block);
  for (std::size_t kind = 0; kind < std::size(codes); ++kind) {
    const auto& ofCode = values[codes[kind]];
    const Octets value = received.value(BgpPathAttrType(codes[kind]));
    const bool good = !ofCode.empty() && !ofCode[0].empty() && ofCode[0].size() % octetsEach[kind] == 0;
    TYR_ASSERT(value.empty() ? !good || withFlags : good && value.data() == ofCode[0].data());
    TYR_ASSERT(value.empty() || value.size() == ofCode[0].size());
    std::size_t malformed = 0, repeats = 0;
    for (const auto& [verdict, attribute, times] : received.faults()) {
      if (attribute.code != codes[kind]) continue;
      if (verdict == attributeVerdictRepeated) repeats += times;
      malformed += treatAsWithdraw(verdict) && verdict < attributeVerdictHeaderCut;
    }
    TYR_ASSERT(repeats == std::max<std::size_t>(ofCode.size(), 1) - 1);
    TYR_ASSERT(malformed == (value.empty() && !ofCode.empty()));
  }
  for (const auto& fault : received.faults()) {
    TYR_ASSERT(fault.attribute.offset < block.size() && inside(fault.attribute.value, block));
  }
}

// The attributes of all lists, as long as was said.
std::string written(const PathLists& lists, AttributeWriter::Filter filter) {
  std::string block;
  const auto add = [&](const auto& list) {
    const AttributeWriter writer(list, filter);
    const std::size_t before = block.size();
    const bool fits = writer.appendTo(block);
    TYR_ASSERT(fits && block.size() == before + writer.size());
  };
  add(lists.standard);
  add(lists.extended);
  add(lists.extendedIp6);
  add(lists.large);
  return block;
}

}  // namespace

void oneInput(Input input) {
  const std::uint8_t options = input.octet();
  const Octets block = input.take(65535);
  const bool withFlags = (options & 1) != 0;
  static const CommunityTables with(true), without(false);
  const CommunityTables& tables = (options & 2) != 0 ? with : without;
  {
    const ReceivedAttributes received(block, withFlags ? Flags::judged : Flags::ignored);
    judged(received, block, withFlags);
    const PathLists lists = dedupAttributes(tables, received);
    TYR_ASSERT((lists.standard == nullptr) == received.standard().empty());
    for (unsigned filter = 0; filter < 16; ++filter) {
      const std::string again = written(lists, AttributeWriter::Filter(filter));
      const ReceivedAttributes back(octetsOf(again), Flags::judged);
      TYR_ASSERT(back.faults().empty());
      if ((filter & 1) == 0) continue;
      const PathLists same = dedupAttributes(tables, back);
      TYR_ASSERT(same.standard == lists.standard && same.extended == lists.extended &&
                 same.extendedIp6 == lists.extendedIp6 && same.large == lists.large);
    }
  }
  TYR_ASSERT(tables.extComms()->size() + tables.extCommLists()->size() + tables.extCommIp6s()->size() +
                 tables.extCommIp6Lists()->size() + tables.commLists()->size() + tables.largeCommLists()->size() ==
             0);
}

}  // namespace VelBgpFuzz
