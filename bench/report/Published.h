// Lists of a contender whose table has a publisher, which commits when it is told to.
#pragma once

#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "Resident.h"
#include "Store/StoreManager.h"
#include "VelBgp/ListPublisher.h"

namespace bench {

inline std::string newFolder() {
  std::string path = std::filesystem::temp_directory_path() / "bench_publishedXXXXXX";
  if (mkdtemp(path.data()) == nullptr) throw std::runtime_error("no folder for a store");
  return path;
}

template <typename Lists>
class Published : public Lists {
 public:
  static constexpr const char* name = "velbgp, published";

  Published() { publisher_->listTableIs(this->table_.get()); }
  ~Published() {
    publisher_.reset();
    store_.reset();
    std::filesystem::remove_all(path_);
  }
  Routing::Bgp::ListPublisher& publisher() { return *publisher_; }
  // Whether there are paths under all of the keys.
  bool shows(const std::vector<std::string>& keys) const {
    return std::all_of(keys.begin(), keys.end(),
                       [this](const std::string& key) { return Routing::Bgp::stashedPath(*store_, key); });
  }
  // Ends publishing. What the heap has less without the store is what the engine had of it.
  std::size_t engineHeap() {
    publisher_.reset();
    const std::size_t octets = heapOctets();
    store_.reset();
    return octets - heapOctets();
  }

 private:
  const std::string path_ = newFolder();
  std::unique_ptr<Routing::Store::StoreManager> store_ = Routing::Store::StoreManager::openForWriting(path_ + "/store");
  std::optional<Routing::Bgp::ListPublisher> publisher_{std::in_place, *store_,
                                                        Routing::Bgp::ListPublisher::Options{std::chrono::hours(24)}};
};

}  // namespace bench
