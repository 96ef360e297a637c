#include <algorithm>
#include <optional>
#include <thread>

#include "Tyr/Threading.h"
#include "tools/velbgp/Agent.h"
#include "tools/velbgp/Commands.h"
#include "tools/velbgp/Console.h"
#include "tools/velbgp/MrtFile.h"
#include "tools/velbgp/MrtReader.h"
#include "tools/velbgp/MrtReport.h"
#include "tools/velbgp/PathBatch.h"
#include "tools/velbgp/Publication.h"

namespace VelBgpTool {

namespace {

// Takes in the paths of all files: counts their communities and has them interned.
class Census final : public MrtSink {
 public:
  Census(Interning& interning, Kinds& kinds, Publication* publication, Console& console)
      : interning_(interning), kinds_(kinds), publication_(publication), console_(console) {}

  void fileIs(const MrtFile& file);
  // Of all, to the end.
  const MrtTotals& totals();

  void recordIs(const MrtRecord& record, std::uint64_t offset) override;
  void faultIs(std::uint64_t offset, const std::string& fault) override {
    console_.error({source_, offset, true}, fault);
  }

 private:
  void attributeIs(const CommunityAttribute& attribute);
  void attributeFault(const CommunityAttribute& attribute, std::uint64_t offset);
  void pathEnds();
  void publish();

  Interning& interning_;
  Kinds& kinds_;
  Publication* publication_;
  Console& console_;
  MrtTotals totals_;
  std::string source_;  // the file that is being read
  PathBatch batch_;
};

void Census::fileIs(const MrtFile& file) {
  if (!file.opens(console_)) return;
  ++totals_.files;
  if (publication_ != nullptr) publication_->begin();
  source_ = file.source;
  file.read(*this, totals_.counts, console_, false);
}

void Census::recordIs(const MrtRecord& record, std::uint64_t offset) {
  if (record.paths() == 0) return;
  std::uint32_t path = 0;
  for (const CommunityAttribute& attribute : record.attributes()) {
    if (attribute.path != path) pathEnds();
    path = attribute.path;
    attribute.wellFormed ? attributeIs(attribute) : attributeFault(attribute, offset);
  }
  pathEnds();
}

void Census::pathEnds() {
  batch_.pathEnds();
  if (publication_ != nullptr) return publish();
  if (batch_.full()) interning_.batchIs(batch_);
}

// Path by path: what a store gets, and when, follows the order in which lists come.
void Census::publish() {
  for (std::size_t kind = 0; kind < kindCount; ++kind) batch_.intern(kind, kinds_, interning_.match());
  Publication::Numbers lists;
  lists.fill(Publication::none);
  batch_.forEachList([&lists](std::size_t kind, std::uint32_t number) { lists[kind] = number; });
  publication_->pathIs(lists, kinds_);
  totals_.matches += batch_.matches();
  batch_.clear();
}

const MrtTotals& Census::totals() {
  interning_.batchIs(batch_);
  interning_.finish();
  totals_.matches += interning_.matches();
  return totals_;
}

void Census::attributeIs(const CommunityAttribute& attribute) {
  ++totals_.received[attribute.kind].paths;
  totals_.received[attribute.kind].communities += attribute.value.size() / kindRows[attribute.kind].octets;
  batch_.attributeIs(attribute.kind, attribute.value);
}

void Census::attributeFault(const CommunityAttribute& attribute, std::uint64_t offset) {
  ++totals_.counts.malformed;
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
  std::optional<Publication> publication;
  if (options.publish) publication.emplace(*options.publish, agent, console);
  // One thread reads and unpacks: this one.
  Interning interning(static_cast<unsigned>(std::min<std::uint64_t>(threads - 1, kindCount)), kinds, match);
  Census census(interning, kinds, publication ? &*publication : nullptr, console);
  for (const std::string& name : options.inputs) census.fileIs(MrtFile(name));
  const MrtTotals& totals = census.totals();
  if (publication) publication->finish();
  if (options.json) return printMrtJson(totals, kinds, console);
  printMrtForPeople(totals, kinds, agent, options.top, console);
}

}  // namespace VelBgpTool
