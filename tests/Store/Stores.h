// What the tests of stores share: a folder of their own, plain octets, and other processes.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <new>
#include <random>
#include <string>

#include "Store/StoreManager.h"
#include "Store/WriteBatch.h"

namespace Routing::Store::test {

inline Octets octets(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}
inline std::string text(Octets octets) { return {octets.begin(), octets.end()}; }

class StoreTest : public testing::Test {
 protected:
  StoreTest() {
    std::string pattern = testing::TempDir() + "storeXXXXXX";
    folder_ = mkdtemp(pattern.data());
    path_ = folder_ / "store";
  }
  ~StoreTest() override { std::filesystem::remove_all(folder_); }

  std::filesystem::path data() const { return path_ + "/data.mdb"; }

  std::filesystem::path folder_;
  std::string path_;
};

// The changes, in a batch.
inline void commit(StoreManager& store, const std::function<void(WriteBatch&)>& changes) {
  WriteBatch batch(store);
  changes(batch);
  batch.commit();
}

// A child process, made while this one has no store open. It ends with its body: status 0, or 1 after a failure.
class Process {
 public:
  explicit Process(const std::function<void()>& body) : id_(fork()) {
    if (id_ != 0) return;
    EXPECT_NO_THROW(body());
    _exit(testing::Test::HasFailure() ? 1 : 0);
  }
  void kill() const { ::kill(id_, SIGKILL); }
  // The exit status, or minus the signal that ended it.
  int ended() const {
    int status = 0;
    waitpid(id_, &status, 0);
    return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
  }

 private:
  pid_t id_;
};

// In a child that does not hang.
inline void inChild(const std::function<void()>& body) {
  const Process child([&] {
    alarm(100);
    body();
  });
  EXPECT_EQ(child.ended(), 0);
}

// A number that processes share, to say how far they are.
class Steps {
 public:
  Steps() : done_(*new (shared()) std::atomic<std::uint64_t>(0)) {}
  void done(std::uint64_t step) { done_ = step; }
  std::uint64_t done() const { return done_; }
  void await(std::uint64_t step) const {
    while (done_ < step) usleep(500);
  }

 private:
  static void* shared() { return mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0); }
  std::atomic<std::uint64_t>& done_;
};

// Kills writers, sometimes while they make or open the store. What they said is committed may not be lost. Both
// functions count steps: the first goes on from the one reached, the second reads the last one.
inline void expectKillsLoseNothing(const std::string& path,
                                   const std::function<void(Steps& said, std::uint64_t reached)>& writing,
                                   const std::function<std::uint64_t(StoreManager&)>& lastIn) {
  const char* const kills = std::getenv("VELBGP_STORE_KILLS");
  Steps said;
  std::mt19937 random(7);
  std::uint64_t reached = 0;
  for (int left = kills != nullptr ? std::atoi(kills) : 20; left > 0 && !testing::Test::HasFailure(); --left) {
    const Process writer([&] { writing(said, reached); });
    usleep(random() % 60000);
    writer.kill();
    EXPECT_EQ(writer.ended(), -SIGKILL);
    try {
      reached = lastIn(*StoreManager::openForReading(path));
    } catch (const StoreAbsentException&) {
    }
    EXPECT_GE(reached, said.done());
  }
  EXPECT_GT(reached, 0u) << "no writer ever came to a commit";
}

template <typename Failure>
auto failsWith(const std::string& words) {
  return testing::ThrowsMessage<Failure>(testing::HasSubstr(words));
}

}  // namespace Routing::Store::test
