#include <bit>

#include "Store/LayoutImpl.h"

namespace Routing::Store::detail {
namespace {

constexpr std::uint64_t multiplier1 = 0x9e3779b97f4a7c15;
constexpr std::uint64_t multiplier2 = 0xd6e8feb86659fd93;

// Every step is one-to-one in the state and in the word, so damage inside one word is always noticed, other damage but
// for one case in 2^64. Stored: never change it without another layoutVersion.
std::uint64_t mixed(std::uint64_t state, std::uint64_t word) {
  return std::rotl(state ^ (word * multiplier1), 29) * multiplier2;
}

std::uint64_t checksumOf(std::uint64_t state, Octets octets) {
  state = mixed(state, octets.size());
  while (!octets.empty()) {
    std::uint64_t word = 0;
    const std::size_t count = octets.size() < sizeof word ? octets.size() : sizeof word;
    std::memcpy(&word, octets.data(), count);
    state = mixed(state, word);
    octets = octets.subspan(count);
  }
  return state ^ (state >> 32);
}

std::uint64_t checksumOf(const Header& header) { return checksumOf(mixed(header.identity, header.anchorBound), {}); }

std::uint64_t checksumOf(const RecordHead& head, Octets payload) {
  return checksumOf(mixed(head.anchor, (std::uint64_t{head.type} << 32) | head.octets), payload);
}

std::uint64_t checksumOf(Octets key, Octets value) { return checksumOf(checksumOf(0, key), value); }

}  // namespace

std::uint64_t numberOf(Octets recordKey) {
  std::uint64_t number = 0;
  for (const std::uint8_t octet : recordKey.subspan(recordPrefix.size())) number = (number << 8) | octet;
  return number;
}

Header headerOf(std::uint64_t identity, std::uint64_t anchorBound) {
  Header header{identity, anchorBound, 0};
  header.checksum = checksumOf(header);
  return header;
}

std::uint64_t keyHead(Octets key, Octets value) { return checksumOf(key, value); }

RecordHead recordHead(std::uint32_t type, std::uint64_t anchor, Octets payload) {
  RecordHead head{anchor, 0, type, static_cast<std::uint32_t>(payload.size())};
  head.checksum = checksumOf(head, payload);
  return head;
}

std::optional<Header> readHeader(Octets stored) {
  if (stored.size() != sizeof(Header)) return std::nullopt;
  const auto header = readPlain<Header>(stored);
  if (header.checksum != checksumOf(header)) return std::nullopt;
  return header;
}

std::optional<Octets> readKeyValue(Octets key, Octets stored) {
  if (stored.size() < sizeof(std::uint64_t)) return std::nullopt;
  const Octets value = stored.subspan(sizeof(std::uint64_t));
  if (readPlain<std::uint64_t>(stored) != checksumOf(key, value)) return std::nullopt;
  return value;
}

std::optional<RecordHead> readRecordHead(Octets stored) {
  if (stored.size() < sizeof(RecordHead)) return std::nullopt;
  return readPlain<RecordHead>(stored);
}

std::optional<Record> readRecord(Octets stored) {
  const std::optional<RecordHead> head = readRecordHead(stored);
  if (!head) return std::nullopt;
  const Octets payload = stored.subspan(sizeof(RecordHead));
  if (head->octets != payload.size() || head->checksum != checksumOf(*head, payload)) return std::nullopt;
  return Record{head->type, payload};
}

}  // namespace Routing::Store::detail
