#include "tools/velbgp/Moment.h"

#include <array>
#include <cctype>
#include <chrono>

namespace VelBgpTool {

namespace {

using std::chrono::days;
using std::chrono::sys_days;
using std::chrono::year_month_day;

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// Reads from the front; each step says whether that was there.
class Reader {
 public:
  explicit Reader(std::string_view text) : rest_(text) {}

  bool done() const { return rest_.empty(); }
  bool mark(std::string_view any) {
    if (rest_.empty() || any.find(rest_[0]) == std::string_view::npos) return false;
    rest_.remove_prefix(1);
    return true;
  }
  // Exactly so many digits; 0 for one or more, up to twelve.
  bool number(std::size_t digits, std::int64_t& out) {
    constexpr std::size_t most = 12;
    std::size_t count = 0;
    out = 0;
    for (; count < rest_.size() && count < (digits == 0 ? most : digits) && isDigit(rest_[count]); ++count) {
      out = out * 10 + (rest_[count] - '0');
    }
    if (count == 0 || (digits != 0 && count != digits)) return false;
    rest_.remove_prefix(count);
    return true;
  }
  // Microseconds; what is smaller is told apart from nothing.
  bool fraction(std::int64_t& out, bool& exact) {
    if (rest_.empty() || !isDigit(rest_[0])) return false;
    out = 0;
    for (std::int64_t unit = 100'000; !rest_.empty() && isDigit(rest_[0]); unit /= 10, rest_.remove_prefix(1)) {
      out += unit * (rest_[0] - '0');
      exact = exact && (unit != 0 || rest_[0] == '0');
    }
    return true;
  }

 private:
  std::string_view rest_;
};

// Seconds since 1970 of a date and a time of day; nothing if there is none such.
std::optional<std::int64_t> readDate(Reader& reader) {
  std::int64_t year, month, day, hour, minute, second;
  const bool read = reader.number(4, year) && reader.mark("-") && reader.number(2, month) && reader.mark("-") &&
                    reader.number(2, day) && reader.mark("Tt ") && reader.number(2, hour) && reader.mark(":") &&
                    reader.number(2, minute) && reader.mark(":") && reader.number(2, second);
  if (!read) return std::nullopt;
  const year_month_day date{std::chrono::year(static_cast<int>(year)), std::chrono::month(static_cast<unsigned>(month)),
                            std::chrono::day(static_cast<unsigned>(day))};
  if (!date.ok() || hour > 23 || minute > 59 || second > 60) return std::nullopt;  // 60: a leap second
  return sys_days(date).time_since_epoch().count() * 86'400LL + hour * 3'600 + minute * 60 + second;
}

// Seconds that a zone is ahead.
std::optional<std::int64_t> readZone(Reader& reader) {
  if (reader.mark("Zz")) return 0;
  const bool ahead = reader.mark("+");
  if (!ahead && !reader.mark("-")) return std::nullopt;
  std::int64_t hours, minutes;
  if (!reader.number(2, hours) || !reader.mark(":") || !reader.number(2, minutes) || hours > 23 || minutes > 59) {
    return std::nullopt;
  }
  return (ahead ? 60 : -60) * (hours * 60 + minutes);
}

}  // namespace

std::optional<Moment> Moment::read(std::string_view text) {
  Moment moment;
  std::int64_t fraction = 0;
  std::int64_t seconds = 0;
  Reader reader(text);
  if (text.find(':') == std::string_view::npos) {
    if (!reader.number(0, seconds)) return std::nullopt;
    if (reader.mark(".") && !reader.fraction(fraction, moment.exact_)) return std::nullopt;
  } else {
    const auto local = readDate(reader);
    if (!local || (reader.mark(".") && !reader.fraction(fraction, moment.exact_))) return std::nullopt;
    const auto ahead = readZone(reader);
    if (!ahead) return std::nullopt;
    seconds = *local - *ahead;
  }
  if (!reader.done()) return std::nullopt;
  moment.microseconds_ = seconds * 1'000'000 + fraction;
  return moment;
}

void Moment::appendTo(std::string& text, std::uint64_t seconds) {
  const sys_days day{days(static_cast<int>(seconds / 86'400))};
  const year_month_day date(day);
  const auto ofDay = static_cast<unsigned>(seconds % 86'400);
  const auto two = [&text](unsigned number) {
    text += static_cast<char>('0' + number / 10 % 10);
    text += static_cast<char>('0' + number % 10);
  };
  const auto year = static_cast<unsigned>(static_cast<int>(date.year()));
  two(year / 100);
  two(year % 100);
  text += '-';
  two(static_cast<unsigned>(date.month()));
  text += '-';
  two(static_cast<unsigned>(date.day()));
  text += ' ';
  two(ofDay / 3'600);
  text += ':';
  two(ofDay / 60 % 60);
  text += ':';
  two(ofDay % 60);
}

}  // namespace VelBgpTool
