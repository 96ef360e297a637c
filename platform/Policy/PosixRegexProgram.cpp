#include <locale.h>
#include <regex.h>

#include <algorithm>
#include <map>
#include <new>
#include <utility>

#include "Policy/PosixRegex.h"
#include "Policy/PosixRegexImpl.h"

namespace Routing::RouteMap {
namespace {

constexpr std::size_t maxPattern = 4096;
constexpr std::size_t maxInstructions = 5'000;
constexpr unsigned maxDepth = 200;

[[noreturn]] void fail(int hostError) {
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
  bool matches(const char* text) const { return regexec(&regex_, text, 0, nullptr, 0) == 0; }

 private:
  regex_t regex_;
};

// The octets that an element of one octet stands for. The host is asked, so a bracket expression means what it means
// there.
RegexByteSet hostBytes(const std::string& element) {
  const HostRegex host("^" + element + "$");
  RegexByteSet set;
  for (int octet = 1; octet < 256; ++octet) {
    const char text[] = {static_cast<char>(octet), '\0'};
    set[static_cast<std::size_t>(octet)] = host.matches(text);
  }
  return set;
}

// A mask over the nine pairs of contexts.
template <typename Predicate>
constexpr std::int32_t testMask(Predicate predicate) {
  std::int32_t mask = 0;
  for (unsigned before = 0; before < 3; ++before) {
    for (unsigned after = 0; after < 3; ++after) {
      if (predicate(before, after)) mask |= regexContextBit(before, after);
    }
  }
  return mask;
}

constexpr bool isWord(unsigned context) { return context == regexContextWord; }
constexpr std::int32_t atBegin = testMask([](unsigned before, unsigned) { return before == regexContextEdge; });
constexpr std::int32_t atEnd = testMask([](unsigned, unsigned after) { return after == regexContextEdge; });
constexpr std::int32_t atWordBegin = testMask([](unsigned b, unsigned a) { return !isWord(b) && isWord(a); });
constexpr std::int32_t atWordEnd = testMask([](unsigned b, unsigned a) { return isWord(b) && !isWord(a); });
constexpr std::int32_t atNoWordEdge = testMask([](unsigned b, unsigned a) { return isWord(b) == isWord(a); });

class Parser {
 public:
  explicit Parser(std::string_view pattern) : rest_(pattern) {}

  RegexProgram program() {
    alternatives(0);
    emit({RegexInstruction::accept});
    return std::move(program_);
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

  std::int32_t here() const { return static_cast<std::int32_t>(program_.code.size()); }
  void roomFor(std::size_t instructions) const {
    if (program_.code.size() + instructions > maxInstructions) {
      throw PosixRegexException("pattern is too large once its repetitions are written out");
    }
  }
  void emit(RegexInstruction instruction) {
    roomFor(1);
    program_.code.push_back(instruction);
  }
  void emitAll(const std::vector<RegexInstruction>& part) {
    program_.code.insert(program_.code.end(), part.begin(), part.end());
  }

  void alternatives(unsigned depth);
  void branch(unsigned depth);
  bool atom(unsigned depth);
  void group(unsigned depth);
  bool escaped();
  bool test(std::int32_t mask, bool words);
  bool literal(char c);
  bool hostElement(const std::string& element);
  std::string bracket();
  [[noreturn]] void unclosedBracket() const;
  bool repetition(std::int32_t begin);
  void interval(std::int32_t begin);
  int number(char& stop);
  void repeat(std::int32_t begin, int least, int most);
  bool byteIn(const std::string& key, RegexByteSet (*make)(const std::string&));

  std::string_view rest_;
  RegexProgram program_;
  std::map<std::string, std::int32_t> setByKey_;
};

void Parser::alternatives(unsigned depth) {
  const std::int32_t begin = here();
  branch(depth);
  while (takeIf('|')) {
    roomFor(2);
    const std::int32_t length = here() - begin;
    program_.code.insert(program_.code.begin() + begin, {RegexInstruction::fork, 1, length + 2});
    const std::int32_t jump = here();
    emit({RegexInstruction::jump});
    branch(depth);
    program_.code[static_cast<std::size_t>(jump)].first = here() - jump;
  }
}

void Parser::branch(unsigned depth) {
  while (more() && !nextIs('|') && !(depth > 0 && nextIs(')'))) {
    const std::int32_t begin = here();
    if (!atom(depth)) continue;
    while (repetition(begin)) {
    }
  }
}

// Answers whether a repetition may follow: not after a test, as the host has it. A ) that closes nothing is ordinary.
bool Parser::atom(unsigned depth) {
  switch (const char c = take()) {
    case '(':
      group(depth + 1);
      return true;
    case '[':
      return hostElement(bracket());
    case '.':
      return byteIn("", [](const std::string&) { return RegexByteSet().set(); });
    case '^':
      return test(atBegin, false);
    case '$':
      return test(atEnd, false);
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

void Parser::group(unsigned depth) {
  if (depth > maxDepth) throw PosixRegexException("pattern nests parentheses too deeply");
  alternatives(depth);
  if (!takeIf(')')) fail(REG_EPAREN);
}

bool Parser::escaped() {
  if (!more()) fail(REG_EESCAPE);
  const char c = take();
  if (c >= '1' && c <= '9') throw PosixRegexException("back-references are not supported");
  switch (c) {
    case '`':
      return test(atBegin, false);
    case '\'':
      return test(atEnd, false);
    case '<':
      return test(atWordBegin, true);
    case '>':
      return test(atWordEnd, true);
    case 'b':
      return test(atWordBegin | atWordEnd, true);
    case 'B':
      return test(atNoWordEdge, true);
    case 'w':
    case 'W':
    case 's':
    case 'S':
      return hostElement({'\\', c});
    default:
      return literal(c);
  }
}

bool Parser::test(std::int32_t mask, bool words) {
  program_.usesWords |= words;
  emit({RegexInstruction::test, mask});
  return false;
}

bool Parser::literal(char c) {
  return byteIn({c}, [](const std::string& key) { return RegexByteSet().set(static_cast<unsigned char>(key[0])); });
}

bool Parser::hostElement(const std::string& element) { return byteIn(element, hostBytes); }

// One octet of a set; equal keys share a set. A literal's key is one octet, a host element's two or more.
bool Parser::byteIn(const std::string& key, RegexByteSet (*make)(const std::string&)) {
  const auto [at, isNew] = setByKey_.try_emplace(key, static_cast<std::int32_t>(program_.sets.size()));
  if (isNew) program_.sets.push_back(make(key));
  emit({RegexInstruction::byteIn, at->second});
  return true;
}

// The whole of a bracket expression whose [ was taken. Whether it makes sense is the host's to say.
std::string Parser::bracket() {
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
void Parser::unclosedBracket() const {
  const HostRegex host("[" + std::string(rest_));
  fail(REG_EBRACK);
}

// Reads one repetition of what the program holds from begin on, if there is one.
bool Parser::repetition(std::int32_t begin) {
  if (takeIf('*')) {
    repeat(begin, 0, none);
  } else if (takeIf('+')) {
    repeat(begin, 1, none);
  } else if (takeIf('?')) {
    repeat(begin, 0, 1);
  } else if (takeIf('{')) {
    interval(begin);
  } else {
    return false;
  }
  return true;
}

// {m} {m,} {m,n} {,n} {,}
void Parser::interval(std::int32_t begin) {
  char stop = '\0';
  int least = number(stop);
  if (least == none && stop == ',') least = 0;
  if (least == none) fail(REG_BADBR);
  int most = least;
  if (least != malformed && stop == ',') most = number(stop);
  if (stop == '\0') fail(REG_EBRACE);
  if (least == malformed || most == malformed || stop != '}' || (most != none && least > most)) fail(REG_BADBR);
  if ((most == none ? least : most) > RE_DUP_MAX) fail(REG_ESIZE);
  repeat(begin, least, most);
}

// A number up to and with the ',' or '}' behind it; stop is '\0' if neither came.
int Parser::number(char& stop) {
  int value = none;
  while (more()) {
    const char c = take();
    if (c == ',' || c == '}') {
      stop = c;
      return value;
    }
    if (c < '0' || c > '9' || value == malformed) {
      value = malformed;
      if (c == '\\' && more()) take();
    } else {
      value = value == none ? c - '0' : std::min(RE_DUP_MAX + 1, value * 10 + (c - '0'));
    }
  }
  stop = '\0';
  return malformed;
}

void Parser::repeat(std::int32_t begin, int least, int most) {
  const std::vector<RegexInstruction> body(program_.code.begin() + begin, program_.code.end());
  const auto size = static_cast<std::int32_t>(body.size());
  if (size == 0) return;
  program_.code.resize(static_cast<std::size_t>(begin));
  const auto copies = static_cast<std::size_t>(std::max({least, most, 1}));
  roomFor(copies * (body.size() + 2));
  for (int i = 0; i < least; ++i) emitAll(body);
  if (most != none) {
    for (int i = least; i < most; ++i) {
      emit({RegexInstruction::fork, 1, size + 1});
      emitAll(body);
    }
  } else if (least > 0) {
    emit({RegexInstruction::fork, -size, 1});
  } else {
    emit({RegexInstruction::fork, 1, size + 2});
    emitAll(body);
    emit({RegexInstruction::jump, -size - 1});
  }
}

}  // namespace

RegexProgram regexProgram(std::string_view pattern) {
  if (pattern.size() > maxPattern) throw PosixRegexException("pattern has more than 4096 octets");
  if (pattern.find('\0') != std::string_view::npos) throw PosixRegexException("pattern contains a NUL octet");
  const CLocale locale;
  return Parser(pattern).program();
}

}  // namespace Routing::RouteMap
