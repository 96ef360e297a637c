#include <boost/endian/conversion.hpp>
#include <iterator>

#include "Tyr/Exception.h"
#include "VelBgp/VelBgpCommunityListImpl.h"

namespace Routing::Bgp {

ExtComm::PtrConst ExtCommVectorLookup(bool commVectorSorted, const ExtCommRange& vector, std::uint64_t community) {
  return lookupByValue(commVectorSorted, vector, community);
}

bool operator==(const ExtCommListContentBase& lhs, const ExtCommListContentBase& rhs) {
  if (lhs.commVectorSorted() != rhs.commVectorSorted() || lhs.communityCount() != rhs.communityCount()) return false;
  for (std::size_t i = 0; i < lhs.communityCount(); ++i) {
    if (lhs.communityAt(i) != rhs.communityAt(i)) return false;
  }
  return true;
}

bool operator<(const ExtCommListContentBase& lhs, const ExtCommListContentBase& rhs) {
  for (std::size_t i = 0; i < std::min(lhs.communityCount(), rhs.communityCount()); ++i) {
    if (lhs.communityAt(i) != rhs.communityAt(i)) return lhs.communityAt(i) < rhs.communityAt(i);
  }
  return lhs.communityCount() < rhs.communityCount();
}

std::ostream& operator<<(std::ostream& stream, const ExtCommListContentBase& content) {
  std::string text = "[ ";
  for (std::size_t i = 0; i < content.communityCount(); ++i) {
    if (i != 0) text += ' ';
    text += valueToStrep(ExtCommContent(content.communityAt(i)));
  }
  text += " ]";
  return stream.write(text.data(), static_cast<std::streamsize>(text.size()));
}

template <typename Base>
void ExtCommPtrContent<Base>::commIs(ExtComm::PtrConst comm) {
  if (comm == nullptr) throw Tyr::NullArgumentException("comm");
  ExtCommVectorAdd(std::move(comm), this->comms_);
  this->commVectorSorted_ = false;
}

namespace {

// Calls add(community) for each of a list.
template <typename List, typename Add>
void appendTo(const List* list, Add&& add) {
  if (list == nullptr) throw Tyr::NullArgumentException("list");
  for (const ExtComm* comm : list->comms()) add(comm);
}

}  // namespace

template <typename Base>
void ExtCommPtrContent<Base>::append(const ExtCommList* list) {
  appendTo(list, [this](const ExtComm* comm) { this->commIs(comm); });
}

template <typename Base>
void ExtCommPtrContent<Base>::append(const ExtCommClassificationList* list) {
  appendTo(list, [this](const ExtComm* comm) { this->commIs(comm); });
}

void ExtCommListContentU64::append(const ExtCommList* list) {
  appendTo(list, [this](const ExtComm* comm) { add(comm->community()); });
}

void ExtCommListContentU64::append(const ExtCommClassificationList* list) {
  appendTo(list, [this](const ExtComm* comm) { add(comm->community()); });
}

template <typename Base>
std::uint32_t ExtCommPtrContent<Base>::sortAndHash() const {
  sortAndUniqueOnce(this->commVectorSorted_, this->comms_, ExtCommLessThan());
  return this->hash_ = hashExtCommList(this);
}

template class ExtCommPtrContent<ExtCommListContentBase>;
template class ExtCommPtrContent<ExtCommContentBase>;

void ExtCommListContent::populateExtCommList(ExtCommList* list) const {
  list->commCountIs(static_cast<std::uint32_t>(comms_.size()));
  for (std::uint32_t i = 0; i < comms_.size(); ++i) list->commIs(i, comms_[i]);
}

bool ExtCommListContent::compareWithExtCommList(const ExtCommList* list) const {
  return compareExtCommContent(this, list, list->comms_);
}

void ExtCommListContentU64::attributeIs(AttributeOctets octets) {
  readAll(octets, sizeof(std::uint64_t), boost::endian::load_big_u64);
}

std::uint32_t ExtCommListContentU64::sortAndHash() const { return sortAndHashInLine(); }

void ExtCommListContentU64::populateExtCommList(ExtCommList* list) const {
  const auto count = static_cast<std::uint32_t>(comms_.size());
  list->commCountIs(count);
  ExtComm::dedupContents(table_.get(), comms_.data(), count,
                         [list](std::uint32_t i, ExtComm::PtrConst comm) { list->commIs(i, std::move(comm)); });
}

bool ExtCommListContentU64::compareWithExtCommList(const ExtCommList* list) const { return equals(*list); }

ExtCommClassificationListContent::ExtCommClassificationListContent(ExtCommClassification classification) {
  checkClassification(classification);
  classification_ = classification;
}

bool operator==(const ExtCommClassificationListContent& lhs, const ExtCommClassificationListContent& rhs) {
  return lhs.classification_ == rhs.classification_ && lhs.commVectorSorted_ == rhs.commVectorSorted_ &&
         std::equal(lhs.comms_.begin(), lhs.comms_.end(), rhs.comms_.begin(), rhs.comms_.end(), ExtCommEqual());
}

bool operator<(const ExtCommClassificationListContent& lhs, const ExtCommClassificationListContent& rhs) {
  if (lhs.classification_ != rhs.classification_) return lhs.classification_ < rhs.classification_;
  return std::lexicographical_compare(lhs.comms_.begin(), lhs.comms_.end(), rhs.comms_.begin(), rhs.comms_.end(),
                                      ExtCommLessThan());
}

std::string valueToStrep(const ExtCommClassificationListContent& content) {
  return "Value('Routing::Bgp::ExtCommClassificationListContent', ** {'classification': " +
         stringValue(content.classification()) +
         ", 'commVectorSorted': " + Tyr::valueToStrep(content.commVectorSorted()) + "})";
}

std::ostream& operator<<(std::ostream& stream, const ExtCommClassificationListContent& content) {
  return stream << valueToStrep(content);
}

}  // namespace Routing::Bgp
