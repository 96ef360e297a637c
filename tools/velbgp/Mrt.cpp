#include <algorithm>
#include <optional>
#include <thread>

#include "Tyr/Threading.h"
#include "tools/velbgp/Agent.h"
#include "tools/velbgp/Commands.h"
#include "tools/velbgp/Console.h"
#include "tools/velbgp/MatchHint.h"
#include "tools/velbgp/MrtFile.h"
#include "tools/velbgp/MrtReader.h"
#include "tools/velbgp/MrtReport.h"
#include "tools/velbgp/Names.h"
#include "tools/velbgp/PathBatch.h"
#include "tools/velbgp/Publication.h"

namespace VelBgpTool {

namespace {

// Takes in the paths of all files: counts their communities and has them interned.
class Census final : public MrtSink {
 public:
  Census(By by, Interning& interning, Kinds& kinds, Publication* publication, Console& console)
      : by_(by), interning_(interning), kinds_(kinds), publication_(publication), console_(console) {
    if (by == By::all) groups_.emplace_back();
  }

  void fileIs(const MrtFile& file);
  // All, to the end.
  const std::vector<MrtGroup>& groups();
  bool anyMatches() const;

  void recordIs(const MrtRecord& record, std::uint64_t offset) override;
  void faultIs(std::uint64_t offset, const std::string& fault) override {
    console_.error({source_, offset, true}, fault);
  }

 private:
  void attributeFault(const CommunityAttribute& attribute, std::uint64_t offset);
  void peerIs(const MrtRecord& record, MrtEntries& entries);
  void pathEnds();
  void publish();

  const By by_;
  Interning& interning_;
  Kinds& kinds_;
  Publication* publication_;
  Console& console_;
  std::vector<MrtGroup> groups_;
  std::size_t group_ = 0;  // of the paths that are being read
  boost::unordered_flat_map<std::pair<std::string, std::uint32_t>, std::size_t> peers_;  // groups by address and AS
  MrtCounts counts_;    // of the file that is being read
  std::string source_;  // its name
  PathBatch batch_;
};

void Census::fileIs(const MrtFile& file) {
  if (!file.opens(console_)) return;
  if (by_ == By::file) {
    group_ = groups_.size();
    groups_.push_back({.file = file.source});
  }
  if (publication_ != nullptr) publication_->begin();
  source_ = file.source;
  counts_ = {};
  file.read(*this, counts_, console_, false);
  if (by_ != By::peer) groups_[group_].add(counts_);
}

void Census::recordIs(const MrtRecord& record, std::uint64_t offset) {
  MrtEntries entries = record.entries();
  auto attribute = record.attributes().begin();
  const auto end = record.attributes().end();
  for (std::uint32_t path = 0; path < record.paths(); ++path) {
    if (by_ == By::peer) peerIs(record, entries);
    if (attribute == end || attribute->path != path) continue;
    for (; attribute != end && attribute->path == path; ++attribute) {
      attribute->wellFormed ? batch_.attributeIs(attribute->kind, attribute->value)
                            : attributeFault(*attribute, offset);
    }
    pathEnds();
  }
}

// The peer of the record's next path is the one to count for.
void Census::peerIs(const MrtRecord& record, MrtEntries& entries) {
  MrtPeer peer = record.message().peer;
  if (record.form() == MrtRecord::Form::rib) {
    MrtEntry entry;
    entries.next(entry);
    peer = entry.peer;
  }
  const auto [place, isNew] = peers_.try_emplace({std::string(textOf(peer.address)), peer.as}, groups_.size());
  if (isNew) groups_.push_back({.peer = MrtGroup::Peer{place->first.first, peer.as}});
  group_ = place->second;
  ++groups_[group_].counts.paths;
}

void Census::pathEnds() {
  batch_.pathEnds(static_cast<std::uint32_t>(group_));
  if (publication_ != nullptr) return publish();
  if (batch_.full()) interning_.batchIs(batch_);
}

// Path by path: what a store gets, and when, follows the order in which lists come.
void Census::publish() {
  interning_.internHere(batch_);
  Publication::Numbers lists;
  lists.fill(Publication::none);
  batch_.forEachList([&lists](std::size_t kind, std::uint32_t number) { lists[kind] = number; });
  publication_->pathIs(lists, kinds_);
  batch_.clear();
}

const std::vector<MrtGroup>& Census::groups() {
  interning_.batchIs(batch_);
  interning_.finish();
  return groups_;
}

bool Census::anyMatches() const {
  bool any = false;
  for (std::uint32_t group = 0; group < groups_.size(); ++group) any = any || interning_.matches(group) != 0;
  return any;
}

void Census::attributeFault(const CommunityAttribute& attribute, std::uint64_t offset) {
  ++counts_.malformed;
  faultIs(offset, faultOf(attribute));
}

// A second one only where there are two processors.
unsigned defaultThreads() { return std::min(std::thread::hardware_concurrency(), 2u); }

}  // namespace

void mrtCommand(const Options& options, const Routing::RouteMap::PosixRegex* match, Console& console) {
  const auto threads = options.publish ? 1 : options.threads.value_or(std::max(defaultThreads(), 1u));
  Tyr::agentMultiThreadedIs(threads > 1);
  Agent agent(options.mvpn);
  Kinds kinds(agent);
  Names names(kinds);
  if (options.names) names.read(*options.names, console);
  std::optional<Publication> publication;
  if (options.publish) publication.emplace(*options.publish, agent, console);
  // One thread reads and unpacks: this one.
  Interning interning(static_cast<unsigned>(std::min<std::uint64_t>(threads - 1, kindCount)), kinds, match);
  Census census(options.by, interning, kinds, publication ? &*publication : nullptr, console);
  for (const std::string& name : options.inputs) census.fileIs(MrtFile(name));
  const std::vector<MrtGroup>& groups = census.groups();
  if (publication) publication->finish();
  MrtReport(options, groups, interning, kinds, names, agent, console).print();
  if (options.match && !census.anyMatches()) noteOtherSpelling(*options.match, kinds, console);
}

}  // namespace VelBgpTool
