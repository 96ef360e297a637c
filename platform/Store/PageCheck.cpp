#include <set>
#include <stdexcept>

#include "Store/LayoutImpl.h"
#include "Store/PageCheckImpl.h"

namespace Routing::Store::detail {
namespace {

constexpr std::size_t headOctets = sizeof(PageHead);
constexpr std::size_t nodeOctets = sizeof(Node);
constexpr std::uint16_t branchFlag = 1;
constexpr std::uint16_t leafFlag = 2;
constexpr std::uint16_t overflowFlag = 4;
constexpr std::uint16_t largeValueFlag = 1;
constexpr std::uint16_t numberedFlag = 8;  // of a tree whose keys are numbers in the host's order
constexpr std::uint16_t treeFlags = 0xff;  // above them the first tree has flags of the file
constexpr std::uint64_t firstPage = 2;     // after the meta pages
constexpr unsigned deepest = 32;           // the engine's own limit

void require(bool good, std::uint64_t page, const char* what) {
  if (!good) throw std::runtime_error("page " + std::to_string(page) + ": " + what);
}

// The pages of a file, each of which is met once. Free ones need not lie in it: the engine does not write every page
// that it counts.
class Pages {
 public:
  Pages(Octets file, std::uint64_t lastPage, std::size_t pageOctets)
      : file_(file), octets_(pageOctets), lastPage_(lastPage), met_(file.size() / pageOctets) {}

  std::size_t octets() const { return octets_; }
  void takeFree(std::uint64_t number) {
    require(number >= firstPage && number <= lastPage_, number, "no page of the store");
    require(inFile(number) ? !met_[number] : metBeyond_.insert(number).second, number, "in use twice");
    if (inFile(number)) met_[number] = true;
  }
  Octets take(std::uint64_t number) {
    takeFree(number);
    require(inFile(number), number, "beyond the end of the file");
    return file_.subspan(number * octets_, octets_);
  }

 private:
  bool inFile(std::uint64_t number) const { return number < met_.size(); }

  Octets file_;
  std::size_t octets_;
  std::uint64_t lastPage_;
  std::vector<bool> met_;
  std::set<std::uint64_t> metBeyond_;
};

class TreeWalk {
 public:
  TreeWalk(Pages& pages, const Tree& tree) : pages_(pages), tree_(tree), found_(tree) {
    found_.branches = found_.leaves = found_.overflows = found_.entries = 0;
  }

  void walk() {
    require(tree_.depth <= deepest, 0, "a tree too deep");
    require((tree_.root == noPage) == (tree_.depth == 0), 0, "a tree without a root");
    if (tree_.root != noPage) page(tree_.root, 1);
    require(found_ == tree_, 0, "another count of pages or entries than the meta page's");
  }

 private:
  // The walk's descent is bounded by the tree's depth.
  void page(std::uint64_t number, unsigned depth) {
    const Octets page = pages_.take(number);
    const auto head = readPlain<PageHead>(page);
    const bool leaf = depth == tree_.depth;
    require(head.number == number, number, "another page's number");
    require(head.flags == (leaf ? leafFlag : branchFlag), number, "another kind of page");
    require(head.lower >= headOctets && head.lower <= head.upper && head.upper <= page.size() && head.lower % 2 == 0,
            number, "its bounds contradict each other");
    const std::size_t nodes = (head.lower - headOctets) / 2;
    require(nodes >= (leaf ? 1u : 2u), number, "too few entries");
    ++(leaf ? found_.leaves : found_.branches);
    for (std::size_t i = 0; i < nodes; ++i) {
      const auto at = readPlain<std::uint16_t>(page.subspan(headOctets + 2 * i));
      require(at >= head.upper && at % 2 == 0 && at + nodeOctets <= page.size(), number, "an entry outside of it");
      leaf ? entry(number, page.subspan(at)) : branch(number, page.subspan(at), i == 0, depth);
    }
  }

  std::string_view keyOf(std::uint64_t number, Octets octets, const Node& node) const {
    require(node.keyOctets <= octets.size() - nodeOctets, number, "a key outside of it");
    require(!numbered_ || node.keyOctets == sizeof(std::uint64_t), number, "a key of another size");
    return {reinterpret_cast<const char*>(octets.data()) + nodeOctets, node.keyOctets};
  }

  bool above(std::string_view key, std::string_view other) const {
    if (!numbered_) return key > other;
    return readPlain<std::uint64_t>(octetsOf(key)) > readPlain<std::uint64_t>(octetsOf(other));
  }

  // What stands before a page: no key below is smaller, all keys to its left are. The first of a branch has none.
  void branch(std::uint64_t number, Octets octets, bool first, unsigned depth) {
    const auto node = readPlain<Node>(octets);
    if (first) {
      require(node.keyOctets <= octets.size() - nodeOctets, number, "a key outside of it");
    } else {
      least_ = keyOf(number, octets, node);
      require(found_.entries != 0 && above(least_, previous_), number, "keys out of order");
    }
    page(node.pageBelow(), depth + 1);
  }

  void entry(std::uint64_t number, Octets octets) {
    const auto node = readPlain<Node>(octets);
    const std::string_view key = keyOf(number, octets, node);
    require(!key.empty() && (found_.entries == 0 || above(key, previous_)), number, "keys out of order");
    require(least_.empty() || !above(least_, key), number, "keys out of order");
    previous_ = key;
    ++found_.entries;
    const Octets value = octets.subspan(nodeOctets + key.size());
    if (node.flags == 0) {
      require(node.valueOctets() <= value.size(), number, "a value outside of it");
      if (numbered_) freePages(number, value.first(node.valueOctets()));
      return;
    }
    require(node.flags == largeValueFlag && value.size() >= sizeof number, number, "an entry of another kind");
    largeValue(readPlain<std::uint64_t>(value), node.valueOctets());
  }

  void largeValue(std::uint64_t number, std::uint64_t valueOctets) {
    const Octets first = pages_.take(number);
    const auto head = readPlain<PageHead>(first);
    const std::uint64_t count = head.lower | std::uint64_t{head.upper} << 16;
    require(head.number == number && head.flags == overflowFlag, number, "another kind of page");
    require(count >= (headOctets + valueOctets + pages_.octets() - 1) / pages_.octets(), number, "too short a value");
    for (std::uint64_t i = 1; i < count; ++i) pages_.take(number + i);
    found_.overflows += count;
    if (numbered_) freePages(number, Octets(first.data() + headOctets, valueOctets));
  }

  // Their count, then their numbers.
  void freePages(std::uint64_t number, Octets value) {
    const std::size_t words = value.size() / sizeof(std::uint64_t);
    const std::uint64_t count = words == 0 ? 0 : readPlain<std::uint64_t>(value);
    require(words != 0 && count < words, number, "a list of free pages outside of it");
    for (std::uint64_t i = 1; i <= count; ++i) pages_.takeFree(readPlain<std::uint64_t>(value.subspan(i * sizeof i)));
  }

  Pages& pages_;
  const Tree& tree_;
  const bool numbered_ = (tree_.flags & numberedFlag) != 0;
  Tree found_;  // its counts so far
  std::string_view previous_;
  std::string_view least_;
};

}  // namespace

std::string damageIn(Octets file, const Meta& meta, std::size_t pageOctets) {
  try {
    require((meta.trees[0].flags & treeFlags) == numberedFlag && meta.trees[1].flags == 0, 0, "trees of another kind");
    Pages pages(file, meta.lastPage, pageOctets);
    for (const Tree& tree : meta.trees) TreeWalk(pages, tree).walk();
    return {};
  } catch (const std::runtime_error& damage) {
    return damage.what();
  }
}

}  // namespace Routing::Store::detail
