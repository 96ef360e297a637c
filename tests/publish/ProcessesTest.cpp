#include <gtest/gtest.h>

#include <charconv>
#include <cstdlib>
#include <iostream>

#include "publish/Publishing.h"

namespace Routing::Bgp::test {
namespace {

using std::chrono::steady_clock;
using Store::test::Process;
using Store::test::Steps;

int setting(const char* name, int byDefault) {
  const char* const text = std::getenv(name);
  return text != nullptr ? std::atoi(text) : byDefault;
}

// Publishes one path after the other, again and again, each under a step counted up, among lists that come and go.
class Writer {
 public:
  static constexpr std::uint32_t paths = 50, firstOther = 1u << 30;

  Writer(const std::string& path, std::uint32_t step)
      : publishing(path, std::chrono::milliseconds(1)), script_(publishing, "script"), step_(step) {}

  std::uint32_t stepped() {
    ++step_;
    PathLists lists;
    forEachKind([&]<typename Kind>(Kind) {
      Words words{step_};
      for (auto n = random_() % 20; n > 0; --n) words.push_back(firstOther + random_() % 1000);
      lists.*Kind::ofPath = Kind::intern(*publishing.agent, checked(words));
    });
    publishing.publisher->pathIs(std::to_string(step_ % paths), lists);
    script_.stepped(10);
    return step_;
  }

  Publishing publishing;

 private:
  Script script_;
  std::mt19937 random_{1};
  std::uint32_t step_;
};

// Whole, and with the paths as they were between two steps. The last step, 0 if there is none.
std::uint32_t expectOneMoment(const Contents& shown) {
  expectWhole(shown);
  std::set<std::uint32_t> steps;
  for (const auto& [key, path] : shown.paths) {
    std::uint32_t number = 0;
    if (std::from_chars(key.data(), key.data() + key.size(), number).ptr == key.data()) continue;
    for (const auto& words : path) {
      EXPECT_TRUE(words && words->front() % Writer::paths == number);
      if (words) steps.insert(words->front());
    }
  }
  if (steps.empty()) return 0;
  EXPECT_EQ(*steps.rbegin() - *steps.begin() + 1, steps.size()) << "paths of several moments";
  return *steps.rbegin();
}

using PublishingTest = Store::test::StoreTest;

TEST_F(PublishingTest, ReadersSeeOneMomentWhileAnAgentGoesOn) {
  const auto end = steady_clock::now() + std::chrono::seconds(setting("VELBGP_SOAK_SECONDS", 2));
  Steps said;
  const Process agent([&] {
    Writer writer(path_, 0);
    while (steady_clock::now() < end) said.done(writer.stepped());
  });
  said.await(1);
  const auto reader = Store::StoreManager::openForReading(path_);
  const Agent ours;
  const std::uint64_t before = reader->commits();
  std::uint64_t reads = 0, lists = 0;
  while (steady_clock::now() < end && !HasFailure()) {
    if (!reader->refresh()) {
      usleep(100);
      continue;
    }
    reader->serviceIs<ExtCommDedupTable>(++reads % 2 == 0 ? ours.comms.get() : nullptr);
    const Contents shown = contentsOf(*reader);
    expectOneMoment(shown);
    for (const auto& ofKind : shown.lists) lists += ofKind.size();
    EXPECT_EQ(ours.size(), 0u);
  }
  EXPECT_EQ(agent.ended(), 0);
  reader->refresh();
  EXPECT_EQ(expectOneMoment(contentsOf(*reader)), said.done());
  std::cout << said.done() << " steps, " << reader->commits() - before << " commits, " << reads << " of them read, "
            << lists << " lists, " << std::filesystem::file_size(data()) << " octets of file\n";
}

TEST_F(PublishingTest, TheLastCommitOutlivesAKilledAgent) {
  Steps said;
  std::mt19937 random(7);
  std::uint32_t reached = 0;
  const int kills = setting("VELBGP_STORE_KILLS", 10);
  for (int kill = 0; kill < kills && !HasFailure(); ++kill) {
    const Process agent([&] {
      Writer writer(path_, reached);
      while (true) {
        for (int i = 0; i < 4; ++i) writer.stepped();
        const std::uint32_t step = writer.stepped();
        writer.publishing.publisher->flush();
        said.done(step);
      }
    });
    usleep(random() % 60000);  // sometimes while it makes or opens the store
    agent.kill();
    EXPECT_EQ(agent.ended(), -SIGKILL);
    try {
      reached = std::max(reached, expectOneMoment(contentsOf(*Store::StoreManager::openForReading(path_))));
    } catch (const Store::StoreAbsentException&) {
    }
    EXPECT_GE(reached, said.done());
  }
  EXPECT_GT(reached, 0u) << "no agent ever came to a commit";
}

}  // namespace
}  // namespace Routing::Bgp::test
