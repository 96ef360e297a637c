#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <optional>

#include "tools/velbgp/Agent.h"
#include "tools/velbgp/Commands.h"
#include "tools/velbgp/Console.h"
#include "tools/velbgp/MrtReader.h"
#include "tools/velbgp/MrtReport.h"
#include "tools/velbgp/Progress.h"
#include "tools/velbgp/Publication.h"

namespace VelBgpTool {

namespace {

struct File {
  // "-" is standard input.
  explicit File(const std::string& name)
      : standard(name == "-"),
        source(standard ? "stdin" : name),
        fd(standard ? STDIN_FILENO : ::open(name.c_str(), O_RDONLY | O_CLOEXEC)) {
    if (fd < 0) problem = std::strerror(errno);
    struct stat status {};
    if (fd >= 0 && ::fstat(fd, &status) == 0 && S_ISDIR(status.st_mode)) problem = std::strerror(EISDIR);
  }
  ~File() {
    if (fd >= 0 && !standard) ::close(fd);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  const bool standard;
  const std::string source;
  const int fd;
  std::string problem;  // why it cannot be read, or empty
};

// Takes in the paths of all files: interns and counts their communities.
class Census final : public MrtSink {
 public:
  Census(Kinds& kinds, const Routing::RouteMap::PosixRegex* match, Publication* publication, Console& console)
      : kinds_(kinds), match_(match), publication_(publication), console_(console) {
    lists_.fill(Publication::none);
  }

  void fileIs(const File& file);
  const MrtTotals& totals() const { return totals_; }

  void recordIs(const MrtRecord& record, std::uint64_t offset) override;
  void faultIs(std::uint64_t offset, const std::string& fault) override {
    console_.error({source_, offset, true}, fault);
  }
  void progressed() override { progress_->doneIs(input_->taken()); }

 private:
  bool wellFormed(const CommunityAttribute& attribute, std::uint64_t offset);
  // Counts and interns; the number of the list.
  std::uint32_t attributeIs(const CommunityAttribute& attribute);
  void pathEnds();

  Kinds& kinds_;
  const Routing::RouteMap::PosixRegex* match_;
  Publication* publication_;
  Console& console_;
  MrtTotals totals_;
  std::string source_;
  // Of the path that is being read.
  Publication::Numbers lists_;
  bool matched_ = false;
  // Of the file that is being read.
  const Unpacker* input_ = nullptr;
  Progress* progress_ = nullptr;
};

void Census::fileIs(const File& file) {
  if (!file.problem.empty()) {
    console_.error({file.source, 0, true}, "cannot be read: " + file.problem + ", expected an MRT file");
    return;
  }
  ++totals_.files;
  if (publication_ != nullptr) publication_->begin();
  source_ = file.source;
  Unpacker input(file.fd);
  Progress progress(console_, source_, sizeOfFile(file.fd), false);
  input_ = &input;
  progress_ = &progress;
  MrtReader(input, *this, totals_.counts).read();
}

void Census::recordIs(const MrtRecord& record, std::uint64_t offset) {
  std::uint32_t path = 0;
  for (const CommunityAttribute& attribute : record.attributes()) {
    if (attribute.path != path) pathEnds();
    path = attribute.path;
    if (!wellFormed(attribute, offset)) continue;
    const std::uint32_t number = lists_[attribute.kind] = attributeIs(attribute);
    if (match_ != nullptr) matched_ |= kinds_.at(attribute.kind).matches(number, *match_).value_or(false);
  }
  pathEnds();
}

void Census::pathEnds() {
  totals_.matches += matched_;
  if (publication_ != nullptr) publication_->pathIs(lists_, kinds_);
  matched_ = false;
  lists_.fill(Publication::none);
}

bool Census::wellFormed(const CommunityAttribute& attribute, std::uint64_t offset) {
  const KindRow& row = kindRows[attribute.kind];
  if (!attribute.value.empty() && attribute.value.size() % row.octets == 0) return true;
  ++totals_.counts.malformed;
  faultIs(offset, std::string("the ") + row.attributeName + " attribute of path " + std::to_string(attribute.path + 1) +
                      " of the record has " + std::to_string(attribute.value.size()) +
                      " octets, expected a multiple of " + std::to_string(row.octets) + ", and not none");
  return false;
}

std::uint32_t Census::attributeIs(const CommunityAttribute& attribute) {
  ++totals_.received[attribute.kind].paths;
  totals_.received[attribute.kind].communities += attribute.value.size() / kindRows[attribute.kind].octets;
  return kinds_.at(attribute.kind).pathIs(attribute.value);
}

}  // namespace

void mrtCommand(const Options& options, const Routing::RouteMap::PosixRegex* match, Console& console) {
  Agent agent(options.mvpn);
  Kinds kinds(agent);
  std::optional<Publication> publication;
  if (options.publish) publication.emplace(*options.publish, agent, console);
  Census census(kinds, match, publication ? &*publication : nullptr, console);
  for (const std::string& name : options.inputs) census.fileIs(File(name));
  if (publication) publication->finish();
  if (options.json) return printMrtJson(census.totals(), kinds, console);
  printMrtForPeople(census.totals(), kinds, agent, options.top, console);
}

}  // namespace VelBgpTool
