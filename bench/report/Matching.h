// What lists cost that are printed or matched. A few lists of route targets that stay in the processor's caches, one
// after the other.
#pragma once

#include <regex.h>

#include "Policy/PosixRegex.h"
#include "report/Contenders.h"
#include "report/Harness.h"

namespace bench {

class FewLists {
 public:
  static constexpr std::size_t count = 8;

  explicit FewLists(std::size_t n) {
    for (std::size_t i = 0; i < count; ++i) {
      Values values;
      for (std::size_t k = 0; k < n; ++k) values.push_back(0x0002fde800000000 | (100 + i * 1000 + k * 7));
      lists_.push_back(contender_.intern(values.data(), values.size()));
      texts_.push_back(policyTexts(*lists_.back()));
    }
  }

  const Routing::Bgp::ExtCommList& list(std::size_t i) const { return *lists_[i % count]; }
  // What it is matched against first.
  const std::string& text(std::size_t i) const { return texts_[i % count]; }

  static std::string policyTexts(const Routing::Bgp::ExtCommList& list) {
    Routing::Bgp::ExtComm::StrepFormat format;
    format.strepFormatDefaultIs(true);
    std::string text;
    for (const auto* comm : list.comms()) (text += comm->toStrepForPolicy(format)) += ' ';
    return text;
  }

 private:
  VelBgpLists contender_;
  std::vector<VelBgpLists::Handle> lists_;
  std::vector<std::string> texts_;
};

// Of one contender: ask(lists, i) answers a question about the i-th list, as often as asked.
template <typename Ask>
class ListQuestion final : public Job {
 public:
  ListQuestion(Row row, Ask ask) : Job({std::move(row)}), n_(rows()[0].n), ask_(std::move(ask)) {}

  std::vector<double> measure() override {
    const FewLists lists(n_);
    std::size_t sum = 0;
    auto ask = ask_();
    const double time = timePerOperation(64 * FewLists::count, [&] {
      for (std::size_t i = 0; i < 64 * FewLists::count; ++i) sum += ask(lists, i);
    });
    expect(sum != 1, "nobody can answer so");
    return {time};
  }

 private:
  const std::size_t n_;
  const Ask ask_;
};

using Routing::RouteMap::PosixRegex;
using Routing::RouteMap::PosixRegexSet;

constexpr const char* presentPattern = "(^|[ :])65001:[0-9:]+( |$)|65000:[0-9]*6 6500[1-9]";  // no text that must occur
constexpr const char* absentPattern = "(^|[ :])65010:[0-9:]+( |$)";

// So many that the ones made later are never remembered.
inline const std::vector<PosixRegex>& crowd() {
  static const std::vector<PosixRegex> all = [] {
    std::vector<PosixRegex> made;
    const FewLists lists(1);
    for (int i = 0; i < 300; ++i) lists.list(0).matchCommunitiesRegex(&made.emplace_back("x"));
    return made;
  }();
  return all;
}

class HostExpression {
 public:
  explicit HostExpression(const char* pattern) {
    expect(regcomp(&regex_, pattern, REG_EXTENDED | REG_NOSUB) == 0, pattern);
  }
  HostExpression(const HostExpression&) = delete;
  HostExpression& operator=(const HostExpression&) = delete;
  ~HostExpression() { regfree(&regex_); }
  bool matches(const std::string& text) const { return regexec(&regex_, text.c_str(), 0, nullptr, 0) == 0; }

 private:
  regex_t regex_;
};

inline std::vector<std::string> policyOf100() {
  std::vector<std::string> patterns;
  for (int i = 0; i < 100; ++i) patterns.push_back("(^|[ :])" + std::to_string(65100 + i) + ":[0-9:]+( |$)");
  return patterns;
}

inline void addMatching(std::vector<std::unique_ptr<Job>>& jobs) {
  const auto add = [&jobs](Row row, auto ask) {
    jobs.push_back(std::make_unique<ListQuestion<decltype(ask)>>(std::move(row), ask));
  };
  const auto atMost = [](double limit) { return Target{Target::ratioAtMost, limit}; };

  add({"text of a list", "policy texts", 16},
      [] { return [](const FewLists& lists, std::size_t i) { return FewLists::policyTexts(lists.list(i)).size(); }; });
  add({"text of a list", "velbgp", 16, "ns", "policy texts", atMost(1.3)},
      [] { return [](const FewLists& lists, std::size_t i) { return stringify(&lists.list(i)).size(); }; });

  const std::pair<std::size_t, double> remembered[] = {{4, 0.3}, {16, 0.1}, {64, 0.05}};
  for (const auto& [n, limit] : remembered) {
    add({"remembered match", "engine", n}, [] {
      return [regex = std::make_shared<PosixRegex>(presentPattern)](const FewLists& lists, std::size_t i) {
        return std::size_t{regex->execute(lists.text(i)) == 0};
      };
    });
    add({"remembered match", "velbgp", n, "ns", "engine", atMost(limit)}, [] {
      return [regex = std::make_shared<PosixRegex>(presentPattern)](const FewLists& lists, std::size_t i) {
        return std::size_t{lists.list(i).matchCommunitiesRegex(regex.get())};
      };
    });
  }

  const std::tuple<const char*, const char*, double> first[] = {{"first match in all modes", presentPattern, 5},
                                                                {"first match, literal absent", absentPattern, 3}};
  for (const auto& [question, pattern, limit] : first) {
    add({question, "regexec", 16}, [pattern = pattern] {
      return [regex = std::make_shared<HostExpression>(pattern)](const FewLists& lists, std::size_t i) {
        return std::size_t{regex->matches(lists.text(i))};
      };
    });
    add({question, "velbgp", 16, "ns", "regexec", atMost(limit)}, [pattern = pattern] {
      crowd();
      return [regex = std::make_shared<PosixRegex>(pattern)](const FewLists& lists, std::size_t i) {
        return std::size_t{lists.list(i).matchCommunitiesRegex(regex.get())};
      };
    });
  }

  add({"expressions on a new list", "one", 16}, [] {
    crowd();
    return [regex = std::make_shared<PosixRegex>(policyOf100().back())](const FewLists& lists, std::size_t i) {
      return std::size_t{lists.list(i).matchCommunitiesRegex(regex.get())};
    };
  });
  add({"expressions on a new list", "100 in a set", 16, "ns", "one", atMost(10)}, [] {
    return [set = std::make_shared<PosixRegexSet>(policyOf100())](const FewLists& lists, std::size_t i) {
      return lists.list(i).matchCommunitiesRegexSet(*set).size();
    };
  });
}

}  // namespace bench
