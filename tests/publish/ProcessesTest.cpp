#include <gtest/gtest.h>

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

constexpr std::uint32_t paths = 50;

// Publishes one path after the other, again and again, each under a step counted up, among lists that come and go.
struct Writer {
  Writer(const std::string& path, std::uint32_t reached)
      : publishing(path, std::chrono::milliseconds(1)), script(publishing, "script"), step(reached) {}

  std::uint32_t stepped() {
    ++step;
    PathLists lists;
    forEachKind([&]<typename Kind>(Kind) {
      Words words{step};
      for (auto n = random() % 20; n > 0; --n) words.push_back((1u << 30) + random() % 1000);
      lists.*Kind::ofPath = Kind::intern(*publishing.agent, checked(words));
    });
    publishing.publisher->pathIs(std::to_string(step % paths), lists);
    script.stepped(10);
    return step;
  }

  Publishing publishing;
  Script script;
  std::mt19937 random{1};
  std::uint32_t step;
};

// Whole, and with the paths as they were between two steps. The last step, 0 if there is none.
std::uint32_t expectOneMoment(const Contents& shown) {
  expectWhole(shown);
  std::set<std::uint32_t> steps;
  for (const auto& [key, path] : shown.paths) {
    if (key.starts_with("script")) continue;
    EXPECT_EQ(path.size(), 4u);
    for (const auto& [type, words] : path) {
      EXPECT_EQ(std::to_string(words.front() % paths), key);
      steps.insert(words.front());
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
  std::uint64_t reads = 0, records = 0;
  while (steady_clock::now() < end && !HasFailure()) {
    if (!reader->refresh()) {
      usleep(100);
      continue;
    }
    reader->serviceIs<ExtCommDedupTable>(++reads % 2 == 0 ? ours.comms.get() : nullptr);
    const Contents shown = contentsOf(*reader);
    expectOneMoment(shown);
    records += shown.records.size();
    EXPECT_EQ(ours.size(), 0u);
  }
  EXPECT_EQ(agent.ended(), 0);
  reader->refresh();
  EXPECT_EQ(expectOneMoment(contentsOf(*reader)), said.done());
  std::cout << said.done() << " steps, " << reader->commits() << " commits, " << reads << " of them read, " << records
            << " records\n";
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
