// The engine's pages, and a walk over all that a commit shows of them.
//
// The engine trusts its pages: it follows their numbers and offsets without a look at where they lead. So a store is
// walked once when it is opened, before the engine reads any of it. The walk reads nothing outside of the octets that
// it is given, visits no page twice, and so is linear in what the store holds, whatever the pages say.
//
// Page    number(8) unused(2) flags(2) lower(2) upper(2); the rest of an overflow page's last two is its page count.
//         Then, up to `lower`, two octets for each node: where it is. Nodes lie from `upper` on.
// Node    low(2) high(2) flags(2) keyOctets(2) key, then in a leaf the value or the number of its overflow page.
//         Low and high are the value's size, in a branch with flags the number of the page below.
#pragma once

#include <string>

#include "Store/Record.h"

namespace Routing::Store::detail {

struct PageHead {
  std::uint64_t number;
  std::uint16_t unused;
  std::uint16_t flags;
  std::uint16_t lower;
  std::uint16_t upper;
};
static_assert(sizeof(PageHead) == 16);

struct Node {
  std::uint16_t low;
  std::uint16_t high;
  std::uint16_t flags;
  std::uint16_t keyOctets;

  std::uint64_t valueOctets() const { return low | std::uint64_t{high} << 16; }
  std::uint64_t pageBelow() const { return valueOctets() | std::uint64_t{flags} << 32; }
};
static_assert(sizeof(Node) == 8);

inline constexpr std::uint64_t noPage = ~std::uint64_t{0};

struct Tree {
  std::uint32_t pageOctets;  // in the first tree of a meta page
  std::uint16_t flags;
  std::uint16_t depth;
  std::uint64_t branches;
  std::uint64_t leaves;
  std::uint64_t overflows;
  std::uint64_t entries;
  std::uint64_t root;  // noPage when the tree is empty

  friend bool operator==(const Tree&, const Tree&) = default;
};
static_assert(sizeof(Tree) == 48);

// The start of the engine's two meta pages: the first is of even commits, the second of odd ones.
// Their place and order have not changed since the format's version 1, which is checked.
struct Meta {
  PageHead page;
  std::uint32_t magic;
  std::uint32_t version;
  std::uint64_t address;
  std::uint64_t mapOctets;
  Tree trees[2];  // of free pages by commit, and of the entries
  std::uint64_t lastPage;
  std::uint64_t commit;
};
static_assert(sizeof(Meta) == 152);

// What is wrong with the pages of a commit, free ones and those of entries; empty when nothing is.
std::string damageIn(Octets file, const Meta& meta, std::size_t pageOctets);

}  // namespace Routing::Store::detail
