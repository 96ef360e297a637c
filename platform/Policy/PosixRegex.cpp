#include "Policy/PosixRegex.h"

#include <locale.h>
#include <re2/re2.h>
#include <re2/set.h>
#include <regex.h>

#include <algorithm>
#include <bitset>
#include <cstring>
#include <map>
#include <new>
#include <utility>

#include "Policy/MatchMemoryImpl.h"
#include "Tyr/Assert.h"

namespace Routing::RouteMap {
namespace {

constexpr std::size_t maxPattern = 4096;
constexpr unsigned maxDepth = 200;
constexpr int maxProgram = 10'000;
constexpr std::int64_t maxMemory = 2 * 1024 * 1024;
constexpr std::int64_t maxSetMemory = 8 * maxMemory;

constexpr const char* tooLarge = "pattern is too large once its repetitions are written out";

[[noreturn]] void fail(int hostError) {
  if (hostError == REG_ESPACE) throw std::bad_alloc();
  char message[256];
  regerror(hostError, nullptr, message, sizeof message);
  throw PosixRegexException(message);
}

// The C locale for this thread, as long as this lives: what a pattern means, and what the host says of a bad one, must
// not depend on the agent's language.
class CLocale {
 public:
  CLocale() : locale_(newlocale(LC_ALL_MASK, "C", nullptr)) {
    if (locale_ == nullptr) throw std::bad_alloc();
    previous_ = uselocale(locale_);
  }
  CLocale(const CLocale&) = delete;
  CLocale& operator=(const CLocale&) = delete;
  ~CLocale() {
    uselocale(previous_);
    freelocale(locale_);
  }

 private:
  locale_t locale_;
  locale_t previous_;
};

class HostRegex {
 public:
  explicit HostRegex(const std::string& pattern) {
    if (const int error = regcomp(&regex_, pattern.c_str(), REG_EXTENDED | REG_NOSUB)) fail(error);
  }
  HostRegex(const HostRegex&) = delete;
  HostRegex& operator=(const HostRegex&) = delete;
  ~HostRegex() { regfree(&regex_); }

  // Not by regexec(), which answers REG_NOMATCH when memory runs out.
  bool matches(char octet) {
    const regoff_t found = re_search(&regex_, &octet, 1, 0, 0, nullptr);
    if (found < -1) throw std::bad_alloc();
    return found == 0;
  }

 private:
  regex_t regex_;
};

std::string escapedOctet(unsigned octet) {
  const char* const digits = "0123456789abcdef";
  return {'\\', 'x', digits[octet / 16], digits[octet % 16]};
}

// The octets that an element of one octet stands for. The host is asked, so it means what it means there.
std::string hostClass(const std::string& element) {
  HostRegex host(element);
  std::bitset<257> members;
  for (unsigned octet = 0; octet < 256; ++octet) members[octet] = host.matches(static_cast<char>(octet));
  std::string text = "[";
  for (unsigned octet = 0; octet < 256; ++octet) {
    if (!members[octet]) continue;
    text += escapedOctet(octet) + '-';
    while (members[octet + 1]) ++octet;
    text += escapedOctet(octet);
  }
  return text + ']';
}

// The longest run of octets that every match contains, as far as that is plain to see. Whatever is no octet of its own
// ends a run.
class RequiredText {
 public:
  void add(char c) { run_ += c; }
  void endRun() {
    if (run_.size() > longest_.size()) longest_ = run_;
    run_.clear();
  }
  std::string take() {
    endRun();
    return std::move(longest_);
  }

 private:
  std::string run_;
  std::string longest_;
};

struct Translation {
  std::string pattern;
  std::string required;  // empty: nothing is known
};

// Reads the host's grammar and writes RE2's.
//
// Groups and alternatives are written as capturing groups though nobody asks what they captured. RE2 merges nested
// sequences and factors alternatives, and when memory runs out meanwhile it frees nodes twice; capturing groups it
// leaves as they are.
class Translator {
 public:
  explicit Translator(std::string_view pattern) : rest_(pattern) {}

  Translation translate() {
    alternatives(0);
    return {std::move(out_), required_.take()};
  }

 private:
  static constexpr int none = -1, malformed = -2;

  bool more() const { return !rest_.empty(); }
  bool nextIs(char c) const { return more() && rest_.front() == c; }
  char take() {
    const char c = rest_.front();
    rest_.remove_prefix(1);
    return c;
  }
  bool takeIf(char c) {
    if (!nextIs(c)) return false;
    take();
    return true;
  }

  void alternatives(unsigned depth);
  void branch(unsigned depth);
  bool atom(unsigned depth);
  bool group(unsigned depth);
  bool escaped();
  bool test(const char* text);
  bool literal(char c);
  bool hostElement(const std::string& element);
  std::string bracket();
  [[noreturn]] void unclosedBracket() const;
  bool repetition(std::size_t begin);
  std::string interval();
  int number(char& stop);
  bool repeat(std::size_t begin, const std::string& times);

  std::string_view rest_;
  std::string out_;
  RequiredText required_;
  bool mayBeAbsent_ = false;  // what the repetitions read last are of
  int copies_ = 0;
  std::map<std::string, std::string> classByElement_;
};

void Translator::alternatives(unsigned depth) {
  const std::size_t begin = out_.size();
  const RequiredText before = required_;
  branch(depth);
  if (!nextIs('|')) return;
  out_.insert(begin, 1, '(');
  while (takeIf('|')) {
    out_ += ")|(";
    branch(depth);
  }
  out_ += ')';
  required_ = before;  // another branch may have matched
}

void Translator::branch(unsigned depth) {
  while (more() && !nextIs('|') && !(depth > 0 && nextIs(')'))) {
    const std::size_t begin = out_.size();
    const RequiredText before = required_;
    if (!atom(depth) || !repetition(begin)) continue;
    bool mayBeAbsent = mayBeAbsent_;
    while (repetition(begin)) mayBeAbsent = mayBeAbsent || mayBeAbsent_;
    if (mayBeAbsent) required_ = before;
    required_.endRun();
  }
}

// Answers whether a repetition may follow: not after a test, as the host has it. A ) that closes nothing is ordinary.
bool Translator::atom(unsigned depth) {
  switch (const char c = take()) {
    case '(':
      return group(depth + 1);
    case '[':
      return hostElement(bracket());
    case '.':
      return hostElement(".");
    case '^':
      return test("\\A");
    case '$':
      return test("\\z");
    case '\\':
      return escaped();
    case '*':
    case '+':
    case '?':
    case '{':
      fail(REG_BADRPT);
    default:
      return literal(c);
  }
}

bool Translator::group(unsigned depth) {
  if (depth > maxDepth) throw PosixRegexException("pattern nests parentheses too deeply");
  out_ += '(';
  required_.endRun();
  alternatives(depth);
  required_.endRun();
  if (!takeIf(')')) fail(REG_EPAREN);
  out_ += ')';
  return true;
}

bool Translator::escaped() {
  if (!more()) fail(REG_EESCAPE);
  const char c = take();
  if (c >= '1' && c <= '9') throw PosixRegexException("back-references are not supported");
  switch (c) {
    case '`':
      return test("\\A");
    case '\'':
      return test("\\z");
    case '<':
    case '>':
      throw PosixRegexException("\\< and \\> are not supported");
    case 'b':
      return test("\\b");
    case 'B':
      return test("\\B");
    case 'w':
    case 'W':
    case 's':
    case 'S':
      return hostElement({'\\', c});
    default:
      return literal(c);
  }
}

bool Translator::test(const char* text) {
  out_ += text;
  return false;
}

bool Translator::literal(char c) {
  out_ += escapedOctet(static_cast<unsigned char>(c));
  required_.add(c);
  return true;
}

bool Translator::hostElement(const std::string& element) {
  std::string& known = classByElement_[element];
  if (known.empty()) known = hostClass(element);
  out_ += known;
  required_.endRun();
  return true;
}

// The whole of a bracket expression whose [ was taken. Whether it makes sense is the host's to say.
std::string Translator::bracket() {
  std::size_t at = nextIs('^') ? 1 : 0;
  if (rest_.substr(at).starts_with(']')) ++at;
  while (at < rest_.size() && rest_[at] != ']') {
    const char kind = rest_[at] == '[' && at + 1 < rest_.size() ? rest_[at + 1] : '\0';
    if (kind != '.' && kind != '=' && kind != ':') {
      ++at;
      continue;
    }
    const std::size_t close = rest_.find(std::string{kind, ']'}, at + 2);
    if (close == std::string_view::npos) unclosedBracket();
    at = close + 2;
  }
  if (at >= rest_.size()) unclosedBracket();
  std::string whole = "[" + std::string(rest_.substr(0, at + 1));
  rest_.remove_prefix(at + 1);
  return whole;
}

// Throws: the host's message for what begins with [ and never ends, which depends on what stands in it.
void Translator::unclosedBracket() const {
  const HostRegex host("[" + std::string(rest_));
  fail(REG_EBRACK);
}

// Reads one repetition of what was written from begin on, if there is one.
bool Translator::repetition(std::size_t begin) {
  mayBeAbsent_ = nextIs('*') || nextIs('?');
  if (takeIf('*')) return repeat(begin, "*");
  if (takeIf('+')) return repeat(begin, "+");
  if (takeIf('?')) return repeat(begin, "?");
  return takeIf('{') && repeat(begin, interval());
}

// {m} {m,} {m,n} {,n} {,}
std::string Translator::interval() {
  char stop = '\0';
  int least = number(stop);
  if (least == none && stop == ',') least = 0;
  if (least == none) fail(REG_BADBR);
  int most = least;
  if (least != malformed && stop == ',') most = number(stop);
  if (stop == '\0') fail(REG_EBRACE);
  if (least == malformed || most == malformed || stop != '}' || (most != none && least > most)) fail(REG_BADBR);
  const int copies = most == none ? least : most;
  if (copies > RE_DUP_MAX) fail(REG_ESIZE);
  // RE2 writes repetitions out before it looks at what it may use.
  mayBeAbsent_ = least == 0;
  copies_ += copies;
  if (copies_ > maxProgram) throw PosixRegexException(tooLarge);
  return "{" + std::to_string(least) + "," + (most == none ? "" : std::to_string(most)) + "}";
}

// A number up to and with the ',' or '}' behind it; stop is '\0' if neither came. Here the host takes \, for a comma
// and \0 for a zero.
int Translator::number(char& stop) {
  int value = none;
  while (more()) {
    char c = take();
    const bool escaped = c == '\\' && more();
    if (escaped) c = take();
    if (c == ',' || (c == '}' && !escaped)) {
      stop = c;
      return value;
    }
    if (c < '0' || c > (escaped ? '0' : '9') || value == malformed) {
      value = malformed;
    } else {
      value = std::min(RE_DUP_MAX + 1, std::max(value, 0) * 10 + (c - '0'));
    }
  }
  stop = '\0';
  return malformed;
}

bool Translator::repeat(std::size_t begin, const std::string& times) {
  out_.insert(begin, "(?:");
  out_ += ")" + times;
  return true;
}

Translation translated(std::string_view pattern) {
  if (pattern.size() > maxPattern) throw PosixRegexException("pattern has more than 4096 octets");
  if (pattern.find('\0') != std::string_view::npos) throw PosixRegexException("pattern contains a NUL octet");
  const CLocale locale;
  return Translator(pattern).translate();
}

re2::RE2::Options re2Options(std::int64_t memory) {
  re2::RE2::Options options(re2::RE2::Latin1);
  options.set_log_errors(false);
  options.set_max_mem(memory);
  return options;
}

}  // namespace

PosixRegexException::~PosixRegexException() = default;

class PosixRegex::Matcher {
 public:
  explicit Matcher(const std::string& pattern) : Matcher(translated(pattern)) {}
  explicit Matcher(Translation translation)
      : required_(std::move(translation.required)), re2_(translation.pattern, re2Options(maxMemory)) {
    if (re2_.error_code() == re2::RE2::ErrorRepeatSize) {
      throw PosixRegexException("repetitions beyond 1000, nested ones multiplied, are not supported");
    }
    if (re2_.error_code() == re2::RE2::ErrorPatternTooLarge || re2_.ProgramSize() > maxProgram) {
      throw PosixRegexException(tooLarge);
    }
    if (!re2_.ok()) throw PosixRegexException(re2_.error());
  }
  // RE2 never gives up on a text: where its automaton has no room it walks the program. So false is an answer.
  bool matches(std::string_view text) const {
    return mayMatch(text) && re2_.Match({text.data(), text.size()}, 0, text.size(), re2::RE2::UNANCHORED, nullptr, 0);
  }

  std::optional<std::string_view> find(std::string_view text, std::size_t from) const {
    re2::StringPiece found;
    if (!re2_.Match({text.data(), text.size()}, from, text.size(), re2::RE2::UNANCHORED, &found, 1))
      return std::nullopt;
    return std::string_view(found.data(), found.size());
  }

  const std::string& translatedPattern() const noexcept { return re2_.pattern(); }
  MatchMemory::Number& number() const noexcept { return number_; }

 private:
  // Whether a match is possible, without the engine.
  bool mayMatch(std::string_view text) const noexcept {
    return required_.empty() || (text.size() >= required_.size() &&
                                 memmem(text.data(), text.size(), required_.data(), required_.size()) != nullptr);
  }

  mutable MatchMemory::Number number_;
  const std::string required_;
  const re2::RE2 re2_;
};

PosixRegex::PosixRegex(const std::string& pattern) : pattern_(pattern), matcher_(std::make_unique<Matcher>(pattern)) {}
PosixRegex::PosixRegex(PosixRegex&&) noexcept = default;
PosixRegex& PosixRegex::operator=(PosixRegex&&) noexcept = default;
PosixRegex::~PosixRegex() = default;

int PosixRegex::execute(const char* text) const {
  TYR_ASSERT(text != nullptr);
  return execute(std::string_view(text));
}

int PosixRegex::execute(std::string_view text) const { return matcher().matches(text) ? 0 : REG_NOMATCH; }

std::optional<std::string_view> PosixRegex::find(std::string_view text, std::size_t from) const {
  return matcher().find(text, from);
}

const PosixRegex::Matcher& PosixRegex::matcher() const {
  TYR_ASSERT_ADVICE(matcher_ != nullptr, "this expression was moved away: match with the one that it was moved to");
  return *matcher_;
}

MatchMemory::Number& MatchMemory::numberOf(const PosixRegex& regex) { return regex.matcher().number(); }

class PosixRegexSet::Matcher {
 public:
  explicit Matcher(const std::vector<PosixRegex>& expressions) : set_(re2Options(maxSetMemory), re2::RE2::UNANCHORED) {
    for (const PosixRegex& regex : expressions) set_.Add(regex.matcher().translatedPattern(), nullptr);
    compiled_ = set_.Compile();
  }
  // The numbers of those that match; false where there was no room to tell.
  bool match(std::string_view text, std::vector<int>& numbers) const {
    re2::RE2::Set::ErrorInfo error{};
    return compiled_ &&
           (set_.Match({text.data(), text.size()}, &numbers, &error) || error.kind == re2::RE2::Set::kNoError);
  }

 private:
  re2::RE2::Set set_;
  bool compiled_ = false;
};

PosixRegexSet::PosixRegexSet(std::span<const std::string> patterns) {
  expressions_.reserve(patterns.size());
  for (const std::string& pattern : patterns) expressions_.emplace_back(pattern);
  matcher_ = std::make_unique<Matcher>(expressions_);
}
PosixRegexSet::PosixRegexSet(PosixRegexSet&&) noexcept = default;
PosixRegexSet& PosixRegexSet::operator=(PosixRegexSet&&) noexcept = default;
PosixRegexSet::~PosixRegexSet() = default;

void PosixRegexSet::execute(std::string_view text, std::vector<bool>& matched) const {
  TYR_ASSERT(matched.size() == expressions_.size());
  std::vector<int> numbers;
  if (matcher_ != nullptr && matcher_->match(text, numbers)) {
    for (const int number : numbers) matched[static_cast<std::size_t>(number)] = true;
    return;
  }
  for (std::size_t i = 0; i < expressions_.size(); ++i) {
    if (!matched[i]) matched[i] = expressions_[i].execute(text) == 0;
  }
}

}  // namespace Routing::RouteMap
