#include <cstring>
#include <exception>
#include <string>

#include "VelBgp/PublishedAttributesImpl.h"

namespace Routing::Bgp {
namespace {

StashedPath pathOf(const Store::StoreManager& store, Store::Octets value) {
  StashedPath path;
  static_assert(sizeof path == detail::publishedAttributes.size() * sizeof(Store::Reference));
  if (value.size() != sizeof path) {
    throw Store::DamagedRecordException("store " + store.path() + ": a path has " + std::to_string(value.size()) +
                                        " octets, expected " + std::to_string(sizeof path));
  }
  std::memcpy(&path, value.data(), sizeof path);
  return path;
}

}  // namespace

std::optional<StashedPath> stashedPath(const Store::StoreManager& store, std::string_view key) {
  const auto value = store.key(stashedPathSpace, octetsOf(key));
  return value ? std::optional(pathOf(store, *value)) : std::nullopt;
}

void forEachStashedPath(const Store::StoreManager& store,
                        const std::function<void(std::string_view key, const StashedPath& path)>& visit,
                        const std::function<void(std::string_view key)>& damaged, std::string_view prefix) {
  const auto text = [](Store::Octets key) {
    return std::string_view(reinterpret_cast<const char*>(key.data()), key.size());
  };
  std::function<void(Store::Octets)> told;
  if (damaged) told = [&](Store::Octets key) { damaged(text(key)); };
  std::exception_ptr wrong;  // a value is whole, but no path
  const auto visitPath = [&](Store::Octets key, Store::Octets value) {
    std::optional<StashedPath> path;
    try {
      path = pathOf(store, value);
    } catch (const Store::DamagedRecordException&) {
      damaged ? damaged(text(key)) : void(wrong = std::current_exception());
    }
    if (path) visit(text(key), *path);
  };
  store.view().forEachKey(stashedPathSpace, visitPath, told, octetsOf(prefix));
  if (wrong) std::rethrow_exception(wrong);
}

}  // namespace Routing::Bgp
