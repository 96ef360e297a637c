// The one harness of bench_report and of the programs that print such a table: jobs, each of which measures some rows of
// it, take turns in an order that is drawn anew in each round. Every visit of a job has a process of its own, so that nobody inherits another's free
// memory, tables or setting of threads; a job whose answer is wrong ends the program.
#pragma once

#include <time.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace bench {

// How much is done: for numbers, or with --quick just for a sign of life.
struct Scale {
  std::size_t lists = 50000;  // that are held, or missed
  std::size_t octetLists = 200000;
  std::size_t stream = std::size_t{1} << 17;
  std::size_t operations = 200000;  // of each thread
  std::size_t window = 1000;        // lists that a thread has before it lets them go
  std::size_t million = 1000000;
  std::size_t paths = 600000;
  double leastTime = 20e6;  // ns

  static constexpr Scale quick() { return {2000, 4000, 4096, 4000, 100, 20000, 6000, 0}; }
};
inline Scale scale;

struct Target {
  enum Kind { none, ratioAtMost, ratioAtLeast, medianAtMost } kind = none;
  double limit = 0;
};

struct Row {
  std::string question;
  std::string contender;
  std::size_t n = 0;  // values of a list, 0 where there is no such thing
  const char* unit = "ns";
  std::string baseline = {};  // another contender of the same question and n
  Target target = {};
  std::vector<double> samples = {};

  std::string name() const { return question + (n == 0 ? "" : ", n=" + std::to_string(n)); }
};

// Thrown in a job when somebody interned wrongly.
struct WrongAnswer : std::runtime_error {
  using std::runtime_error::runtime_error;
};
inline void expect(bool right, const char* what) {
  if (!right) throw WrongAnswer(what);
}

class Job {
 public:
  explicit Job(std::vector<Row> rows) : rows_(std::move(rows)) {}
  virtual ~Job() = default;

  std::vector<Row>& rows() { return rows_; }
  // Makes what all visits share. In the report's own process, so nothing of the library is touched.
  virtual void prepare() {}
  // Whether it is visited in this round: the first is 1.
  virtual bool takesPart(int) const { return true; }
  // Throws WrongAnswer. Before anybody is timed, in a process of its own.
  virtual void check() { measure(); }
  // A number for each row, in a process of its own.
  virtual std::vector<double> measure() = 0;

 private:
  std::vector<Row> rows_;
};
using Jobs = std::vector<std::unique_ptr<Job>>;

struct Options {
  int repetitions = 11;
  std::string only;  // questions ("name, n=4") that contain it
  bool json = false;
  bool quick = false;

  // Sets the scale as well. Prints the usage and ends the program if it cannot be used.
  static Options fromArguments(int argc, char** argv);
};

// Checks, measures and prints; what main() returns. Where targets are `binding`, a missed one is a failure, unless the
// run was quick.
enum class Targets { told, binding };
int report(const Options& options, Jobs jobs, Targets targets = Targets::told);

inline double timeOf(clockid_t clock) {
  timespec time;
  clock_gettime(clock, &time);
  return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
}
// CPU time of this thread in ns: what others take of the machine is not counted.
inline double threadTime() { return timeOf(CLOCK_THREAD_CPUTIME_ID); }
// Of all threads of this process.
inline double processTime() { return timeOf(CLOCK_PROCESS_CPUTIME_ID); }

// Nanoseconds of one of the `operations` of a pass, after a first pass that brings memory and tables to where they stay.
template <typename Pass>
double timePerOperation(std::size_t operations, Pass&& pass) {
  pass();
  const double begin = threadTime();
  double spent = 0;
  for (std::size_t all = operations;; all += operations) {
    pass();
    spent = threadTime() - begin;
    if (spent >= scale.leastTime) return spent / static_cast<double>(all);
  }
}

}  // namespace bench
