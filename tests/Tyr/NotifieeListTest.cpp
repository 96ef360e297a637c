#include "Tyr/NotifieeList.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using List = Tyr::NotifieeList<int>;

class NotifieeList : public testing::Test {
 protected:
  // Notes "NAME ATTRIBUTE:KEY".
  List::Callback noting(std::string name) {
    return [this, name](unsigned attribute, const int& key) {
      heard.push_back(name + " " + std::to_string(attribute) + ":" + std::to_string(key));
    };
  }
  std::vector<std::string> notified(unsigned attribute, int key) {
    heard.clear();
    list->notify(attribute, key);
    return heard;
  }
  using Heard = std::vector<std::string>;

  std::unique_ptr<List> list = std::make_unique<List>();
  Heard heard;
};

TEST_F(NotifieeList, callsTheAttachedInTheirOrder) {
  EXPECT_EQ(notified(1, 1), Heard());
  auto a = list->attach(noting("a"));
  auto b = list->attach(noting("b"));
  auto c = list->attach(noting("c"));
  EXPECT_EQ(notified(7, -5), Heard({"a 7:-5", "b 7:-5", "c 7:-5"}));
  b.detach();
  b.detach();
  EXPECT_EQ(notified(1, 2), Heard({"a 1:2", "c 1:2"}));
  // A callback may own a handle of the same list.
  auto owner = list->attach([inner = std::make_shared<List::Handle>(list->attach(noting("inner")))](auto, auto&) {});
  owner.detach();
  List::Handle moved = std::move(a);
  EXPECT_EQ(list->size(), 2u);
  moved = std::move(c);  // detaches the one it held
  EXPECT_EQ(notified(1, 3), Heard({"c 1:3"}));
  { const List::Handle brief = std::move(moved); }
  EXPECT_EQ(list->size(), 0u);
  EXPECT_EQ(notified(1, 4), Heard());
  const List::Handle none = list->attach(nullptr);
  EXPECT_EQ(list->size(), 0u);
}

TEST_F(NotifieeList, changesDuringANotification) {
  List::Handle self;
  List::Handle later;
  std::vector<List::Handle> fresh;
  const auto resource =
      std::make_shared<int>(1);  // must live while its callback runs, and no longer than it is attached
  self = list->attach([&, resource](unsigned attribute, const int& key) {
    noting("self")(attribute, key);
    self.detach();
    later.detach();
    for (int i = 0; i < 50; ++i) fresh.push_back(list->attach(noting("fresh")));
    noting("still " + std::to_string(*resource))(attribute, key);
  });
  later = list->attach(noting("later"));
  auto last = list->attach(noting("last"));
  EXPECT_EQ(notified(1, 1), Heard({"self 1:1", "still 1 1:1", "last 1:1"}));
  EXPECT_EQ(resource.use_count(), 1);
  fresh.resize(1);
  EXPECT_EQ(notified(1, 2), Heard({"last 1:2", "fresh 1:2"}));
}

TEST_F(NotifieeList, notifiesFromACallback) {
  List::Handle doomed;
  auto nesting = list->attach([&](unsigned attribute, const int& key) {
    noting("nesting")(attribute, key);
    if (key == 0) return;
    doomed.detach();
    list->notify(attribute, key - 1);
  });
  doomed = list->attach(noting("doomed"));
  auto last = list->attach(noting("last"));
  EXPECT_EQ(notified(1, 1), Heard({"nesting 1:1", "nesting 1:0", "last 1:0", "last 1:1"}));
}

TEST_F(NotifieeList, mayBeDestroyedByACallbackAndBeforeItsHandles) {
  auto destroyer = list->attach([&](unsigned attribute, const int& key) {
    list.reset();
    noting("destroyer")(attribute, key);
  });
  auto other = list->attach(noting("other"));
  list->notify(1, 1);
  EXPECT_EQ(heard, Heard({"destroyer 1:1"}));
  other.detach();
}

TEST_F(NotifieeList, goesOnAfterACallbackThatThrew) {
  auto thrower = list->attach([](unsigned, const int& key) {
    if (key == 1) throw std::runtime_error("one");
  });
  auto other = list->attach(noting("other"));
  EXPECT_THROW(list->notify(1, 1), std::runtime_error);
  thrower.detach();
  EXPECT_EQ(list->size(), 1u);
  EXPECT_EQ(notified(1, 2), Heard({"other 1:2"}));
}

}  // namespace
