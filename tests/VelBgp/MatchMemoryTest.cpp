// Answers that lists remember are those that their texts give.
#include <gtest/gtest.h>
#include <malloc.h>

#include <optional>
#include <random>
#include <thread>

#include "Policy/PosixRegex.h"
#include "VelBgp/Agent.h"

namespace Routing::Bgp::test {
namespace {

using RouteMap::PosixRegex;
using RouteMap::PosixRegexSet;
using Strings = std::vector<std::string>;

// What a list is matched against, made from its communities one by one.
template <typename Comms, typename Text>
std::string joined(const Comms& comms, Text&& text) {
  std::string all;
  bool first = true;
  for (const auto& comm : comms) {
    const std::optional<std::string> one = text(comm);
    if (!one) continue;
    all += (first ? "" : " ") + *one;
    first = false;
  }
  return all;
}
Strings textsOf(const ExtCommList& list) {
  ExtComm::StrepFormat plain, classified;
  plain.strepFormatDefaultIs(true);
  classified.strepFormatClassificationIs(true);
  const auto policyText = [](ExtComm::StrepFormat format) {
    return [format](const ExtComm* comm) { return std::optional(comm->toStrepForPolicy(format)); };
  };
  const auto uiText = [](const ExtComm* comm) {
    return comm->policyMatchStrepUI() ? std::optional(comm->toStrepForUI(false, false, false)) : std::nullopt;
  };
  Strings texts{joined(list.comms(), policyText(plain)), joined(list.comms(), policyText(classified))};
  if (list.hasPolicyMatchStrepUICommunities()) texts.push_back(joined(list.comms(), uiText));
  return texts;
}
Strings textsOf(const CommList& list) {
  const auto number = [](std::uint32_t value) {
    return std::optional(std::to_string(value >> 16) + ":" + std::to_string(value & 0xffff));
  };
  return {joined(list.comms(), number), list.toStrep()};
}
Strings textsOf(const LargeCommList& list) { return {list.toStrep()}; }

template <typename List>
void expectRightAnswers(const List& list, const PosixRegex& regex) {
  const Strings texts = textsOf(list);
  const bool expected = std::any_of(texts.begin(), texts.end(), [&](auto& text) { return regex.execute(text) == 0; });
  for (int again = 0; again < 3; ++again) {
    ASSERT_EQ(list.matchCommunitiesRegex(&regex), expected) << regex.pattern() << " on " << texts.back();
  }
}

std::string randomPattern(std::mt19937& random) {
  const char* const parts[] = {"1",      "2",     ":",   "[0-9]", " ",     "$", "no-",
                               "export", "valid", "RT:", "0*",    "(1|3)", "^", ""};
  std::string pattern;
  for (auto n = 1 + random() % 3; n > 0; --n) pattern += parts[random() % std::size(parts)];
  return pattern;
}

// A few lists of each kind, soon to be replaced by others, at the addresses of some that went.
class Lists {
 public:
  Lists(const Agent& agent, unsigned seed) : agent_(agent), random_(seed) {}

  void replaceOne() {
    const std::size_t place = random_() % places;
    extended_[place] = agent_.intern(values<std::uint64_t>(
        {0x0002000100000001, 0x0002000100000002, 0x0002000200000012, 0x4300000000000000, 0x4300000000000002, 1}));
    standard_[place] = agent_.internStandard(values<std::uint32_t>({0x10001, 0x10002, 0x20003, 0xffffff01, 0}));
    large_[place] = agent_.internLarge(values<CommunityValue>({{1, 2, 3}, {1, 2, 12}, {3, 1, 0}, {0, 0, 1}}));
  }
  void expectRightAnswers(const PosixRegex& regex) {
    const std::size_t place = random_() % places;
    if (extended_[place] == nullptr) return;
    test::expectRightAnswers(*extended_[place], regex);
    test::expectRightAnswers(*standard_[place], regex);
    test::expectRightAnswers(*large_[place], regex);
  }
  std::mt19937& random() { return random_; }

 private:
  static constexpr std::size_t places = 8;

  template <typename Value>
  std::vector<Value> values(std::vector<Value> all) {
    std::erase_if(all, [this](const Value&) { return random_() % 2 == 0; });
    return all;
  }

  const Agent& agent_;
  std::mt19937 random_;
  std::array<ExtCommList::PtrConst, places> extended_;
  std::array<CommList::PtrConst, places> standard_;
  std::array<LargeCommList::PtrConst, places> large_;
};

TEST(MatchMemory, AnswersAreThoseOfTheTexts) {
  for (const unsigned threads : {1, 2, 8}) {
    const Agent agent(threads > 1);
    std::mt19937 random(threads);
    std::vector<PosixRegex> shared;
    for (int i = 0; i < 40; ++i) shared.emplace_back(randomPattern(random));
    const auto run = [&](unsigned thread) {
      Lists lists(agent, thread);
      for (int round = 0; round < 200; ++round) {
        lists.replaceOne();
        for (int i = 0; i < 5; ++i) lists.expectRightAnswers(shared[lists.random()() % shared.size()]);
        if (round % 10 == 0) lists.expectRightAnswers(PosixRegex(randomPattern(lists.random())));
      }
    };
    std::vector<std::thread> others;
    for (unsigned thread = 1; thread < threads; ++thread) others.emplace_back(run, thread);
    run(0);
    for (std::thread& other : others) other.join();
  }
}

// More of them than are remembered, at a time and one after the other: a number that is used again answers for nobody
// else.
TEST(MatchMemory, ExpressionsComeAndGo) {
  const Agent agent;
  const auto list = agent.internStandard({0x10001});
  std::vector<PosixRegex> held;
  for (int i = 0; i < 1200; ++i) {
    const PosixRegex passing(i % 3 == 0 ? "^1:1$" : "^2$");
    expectRightAnswers(*list, passing);
    if (i < 900) continue;
    held.emplace_back(passing.pattern());
    expectRightAnswers(*list, held[static_cast<std::size_t>(i) * 7 % held.size()]);
  }
}

TEST(MatchMemory, TakesNoMoreHoweverManyListsPass) {
  const Agent agent;
  const PosixRegex regex("^[0-9]*:[0-9]*7$");
  const auto pass = [&](std::uint32_t from, std::uint32_t to) {
    for (std::uint32_t i = from; i < to; ++i) {
      ASSERT_EQ(agent.internStandard({0x10000 + i})->matchCommunitiesRegex(&regex), i % 0x10000 % 10 == 7);
    }
  };
  pass(0, 100);
  const std::size_t before = mallinfo2().uordblks;
  pass(0, 1'000'000);
  EXPECT_LT(mallinfo2().uordblks, before + 4096);
}

TEST(MatchMemory, SetsGiveTheAnswersOfTheirExpressions) {
  const Agent agent;
  const auto extended = agent.intern({0x0002000100000001, 0x4300000000000000});
  const auto standard = agent.internStandard({0x10002, 0xffffff01});
  const auto large = agent.internLarge({{1, 2, 3}});
  std::mt19937 random(3);
  Strings patterns;
  for (int i = 0; i < 100; ++i) patterns.push_back(randomPattern(random));
  PosixRegexSet made(patterns);
  const PosixRegexSet set = std::move(made);
  const auto expectAll = [&](const auto& list) {
    std::vector<bool> expected;
    for (const PosixRegex& regex : set.expressions()) expected.push_back(list->matchCommunitiesRegex(&regex));
    EXPECT_EQ(list->matchCommunitiesRegexSet(set), expected);
    EXPECT_GT(std::count(expected.begin(), expected.end(), true), 5);
  };
  expectAll(extended);
  expectAll(standard);
  expectAll(large);
  EXPECT_TRUE(standard->matchCommunitiesRegexSet(PosixRegexSet({})).empty());
}

}  // namespace
}  // namespace Routing::Bgp::test
