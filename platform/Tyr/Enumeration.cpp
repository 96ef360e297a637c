#include "Tyr/Enumeration.h"

#include <algorithm>
#include <ostream>

#include "Tyr/Exception.h"

namespace Tyr {
namespace {

const EnumRow& rowOf(const EnumTable& table, unsigned long number) {
  const EnumRow* const row = table.row(number);
  if (row == nullptr) throw RangeException(std::string(table.type) + " has no member " + std::to_string(number));
  return *row;
}

}  // namespace

std::string enumStringValue(const EnumTable& table, unsigned long number) { return rowOf(table, number).name; }

std::ostream& enumToStream(std::ostream& stream, const EnumTable& table, unsigned long number) {
  const EnumRow* const row = table.row(number);
  return row == nullptr ? stream << number : stream << row->name;
}

std::uint32_t enumInstance(const EnumTable& table, unsigned long number) { return rowOf(table, number).number; }

std::uint32_t enumInstance(const EnumTable& table, std::string_view name) {
  const auto row = std::find_if(table.rows.begin(), table.rows.end(), [=](const EnumRow& r) { return r.name == name; });
  if (row == table.rows.end()) {
    throw BadNameException(std::string(table.type) + " has no member \"" + std::string(name) + "\"");
  }
  return row->number;
}

// A range that starts with no name at all has the empty name: one exception for all names that are none.
std::uint32_t enumFromSequence(const EnumTable& table, StrepIterator& it, const StrepIterator& end) {
  const StrepIterator behind = identifierEnd(it, end);
  const std::uint32_t number = enumInstance(table, std::string_view(it, static_cast<std::size_t>(behind - it)));
  it = behind;
  return number;
}

}  // namespace Tyr
