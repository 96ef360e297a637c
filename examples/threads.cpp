// Interns the same lists from several threads: whoever comes first makes one, all get that one.
#include <array>
#include <iostream>
#include <thread>
#include <vector>

#include "Tyr/Threading.h"
#include "VelBgp/VelBgp.h"

using namespace Routing::Bgp;

int main() {
  // Once, before the first table: from then on counts are atomic and tables have locks.
  Tyr::agentMultiThreadedIs(true);
  const CommunityTables tables;

  // A content belongs to its thread, and so does what the thread holds; objects and tables belong to all.
  std::array<std::vector<CommList::PtrConst>, 4> held;
  std::vector<std::thread> threads;
  for (auto& mine : held) {
    threads.emplace_back([&tables, &mine] {
      CommListContent content;
      for (std::uint32_t path = 0; path < 10000; ++path) {
        content.reset();
        content.commIs(65000 << 16 | path % 100);
        content.commIs(communityNoExport);
        mine.push_back(tables.dedupContent(content));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();

  std::cout << "paths: " << held.size() * held[0].size() << ", lists: " << tables.commLists()->size() << '\n'
            << "one list for all threads: " << std::boolalpha << (held[0][7] == held[3][107]) << '\n';
  for (auto& mine : held) mine.clear();
  std::cout << "when all have let go: " << tables.commLists()->size() << '\n';
}
