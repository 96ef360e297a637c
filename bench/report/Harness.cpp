#include "report/Harness.h"

#include <errno.h>
#include <malloc.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <map>
#include <optional>
#include <random>
#include <string_view>
#include <thread>
#include <utility>

namespace bench {
namespace {

constexpr const char* usage =
    " [--repetitions=N] [--only SUBSTRING] [--json] [--quick]\n"
    "  --repetitions=N   rounds over all questions, 11 unless said otherwise\n"
    "  --only SUBSTRING  only questions that contain it, \"extended lists, hit, n=4\"\n"
    "  --json            JSON with all samples in place of the table\n"
    "  --quick           few operations and one round: a sign of life, no numbers\n";

[[noreturn]] void end(int code, const std::string& text) {
  std::fputs((program_invocation_short_name + text).c_str(), code == 0 ? stdout : stderr);
  std::exit(code);
}

// The job's numbers, from a process of its own; nothing if that failed.
std::optional<std::vector<double>> inChild(Job& job, const std::function<std::vector<double>()>& run) {
  std::vector<double> values(job.rows().size());
  const std::size_t octets = values.size() * sizeof(double);
  int channel[2];
  if (pipe(channel) != 0) return std::nullopt;
  const pid_t child = fork();
  if (child == 0) {
    try {
      values = run();
      _exit(write(channel[1], values.data(), octets) == static_cast<ssize_t>(octets) ? 0 : 1);
    } catch (const std::exception& problem) {
      std::fprintf(stderr, "%s\n", problem.what());
      _exit(1);
    }
  }
  close(channel[1]);
  const bool complete = read(channel[0], values.data(), octets) == static_cast<ssize_t>(octets);
  close(channel[0]);
  int status = 1;
  if (child < 0 || waitpid(child, &status, 0) != child || status != 0 || !complete) return std::nullopt;
  return values;
}

std::vector<double> visit(Job& job, const std::function<std::vector<double>()>& run) {
  auto values = inChild(job, run);
  if (!values) end(1, ": " + job.rows()[0].name() + ": " + job.rows()[0].contender + " failed\n");
  return std::move(*values);
}

void measureAll(const Jobs& jobs, int repetitions) {
  std::vector<Job*> order;
  for (const auto& job : jobs) order.push_back(job.get());
  std::mt19937 random(17);
  for (int round = 1; round <= repetitions; ++round) {
    if (isatty(STDERR_FILENO) == 1) std::fprintf(stderr, "round %d of %d\r", round, repetitions);
    std::shuffle(order.begin(), order.end(), random);
    for (Job* job : order) {
      if (!job->takesPart(round)) continue;
      const std::vector<double> values = visit(*job, [job] { return job->measure(); });
      for (std::size_t i = 0; i < values.size(); ++i) job->rows()[i].samples.push_back(values[i]);
    }
  }
}

// Fourth parts of the samples that are at most this.
double quartile(const Row& row, std::size_t parts) {
  std::vector<double> sorted = row.samples;
  std::sort(sorted.begin(), sorted.end());
  return sorted[(sorted.size() - 1) * parts / 4];
}
double median(const Row& row) { return quartile(row, 2); }

bool asked(const Row& row, const std::string& only) { return row.name().find(only) != std::string::npos; }

// The rows that were asked for: questions in the order in which they came first, each by size.
std::vector<Row> inOrder(const Jobs& jobs, const std::string& only) {
  std::vector<Row> rows;
  std::map<std::string, std::size_t> places;
  for (const auto& job : jobs) {
    for (const Row& row : job->rows()) {
      places.try_emplace(row.question, places.size());
      if (asked(row, only)) rows.push_back(row);
    }
  }
  std::ranges::stable_sort(rows, {}, [&](const Row& row) { return std::pair(places.at(row.question), row.n); });
  return rows;
}

std::string formatted(const char* format, double number) {
  char text[64];
  std::snprintf(text, sizeof text, format, number);
  return text;
}

// A row as it is told: what comes of its samples and its baseline's.
struct Line {
  Line(const Row& ofRow, const std::vector<Row>& all) : row(ofRow) {
    for (const Row& other : all) {
      if (other.contender == row.baseline && other.name() == row.name()) ratio = median(row) / median(other);
    }
  }
  bool met() const {
    switch (row.target.kind) {
      case Target::none:
        return true;
      case Target::ratioAtLeast:
        return *ratio >= row.target.limit;
      case Target::medianAtMost:
        return median(row) <= row.target.limit;
      default:
        return *ratio <= row.target.limit;
    }
  }
  std::string target() const {
    switch (row.target.kind) {
      case Target::none:
        return "";
      case Target::medianAtMost:
        return "at most " + formatted("%g ", row.target.limit) + row.unit;
      default:
        return (row.target.kind == Target::ratioAtLeast ? "at least " : "at most ") + formatted("%g", row.target.limit);
    }
  }

  std::string verdict() const {
    return row.target.kind == Target::none ? "" : "  " + target() + (met() ? ", met" : ", missed");
  }

  const Row& row;
  std::optional<double> ratio;
};

void printTable(const std::vector<Line>& lines) {
  std::printf("%-44s %-16s %3s %10s %23s %7s  %s\n", "question", "contender", "n", "median", "quartiles", "ratio",
              "target");
  std::string_view before;
  for (const Line& line : lines) {
    const Row& row = line.row;
    const std::string spread = formatted("%.1f", quartile(row, 1)) + " - " + formatted("%.1f", quartile(row, 3));
    std::printf("%-44s %-16s %3s %10.1f %16s %-6s %7s%s\n", row.question == before ? "" : row.question.c_str(),
                row.contender.c_str(), row.n == 0 ? "" : std::to_string(row.n).c_str(), median(row), spread.c_str(),
                row.unit, line.ratio ? formatted("%.2f", *line.ratio).c_str() : "", line.verdict().c_str());
    before = row.question;
  }
}

std::string joined(const std::vector<double>& numbers) {
  std::string text;
  for (const double number : numbers) text += (text.empty() ? "[" : ", ") + formatted("%g", number);
  return text + "]";
}

void printJson(const std::vector<Line>& lines) {
  const char* separator = "[";
  for (const Line& line : lines) {
    const Row& row = line.row;
    std::printf("%s\n  {\"question\": \"%s\", \"contender\": \"%s\", \"n\": %zu, \"unit\": \"%s\", \"median\": %g, ",
                separator, row.question.c_str(), row.contender.c_str(), row.n, row.unit, median(row));
    if (line.ratio) std::printf("\"baseline\": \"%s\", \"ratio\": %g, ", row.baseline.c_str(), *line.ratio);
    if (row.target.kind != Target::none) {
      std::printf("\"target\": \"%s\", \"met\": %s, ", line.target().c_str(), line.met() ? "true" : "false");
    }
    std::printf("\"quartiles\": %s, \"samples\": %s}", joined({quartile(row, 1), quartile(row, 3)}).c_str(),
                joined(row.samples).c_str());
    separator = ",";
  }
  std::printf("\n]\n");
}

}  // namespace

Options Options::fromArguments(int argc, char** argv) {
  Options options;
  char rest;
  for (int i = 1; i < argc; ++i) {
    const std::string_view argument = argv[i];
    if (argument == "--json") {
      options.json = true;
    } else if (argument == "--quick") {
      options.quick = true;
    } else if (argument == "--only" && i + 1 < argc) {
      options.only = argv[++i];
    } else if (std::sscanf(argv[i], "--repetitions=%d%c", &options.repetitions, &rest) != 1 ||
               options.repetitions < 1) {
      end(argument == "--help" ? 0 : 2, usage);
    }
  }
  if (options.quick) {
    scale = Scale::quick();
    options.repetitions = 1;
  }
  return options;
}

int report(const Options& options, Jobs jobs, Targets targets) {
  std::erase_if(jobs, [&](const auto& job) {
    return std::ranges::none_of(job->rows(), [&](const Row& row) { return asked(row, options.only); });
  });
  if (jobs.empty()) end(2, ": no question contains \"" + options.only + "\"\n");
  for (const auto& job : jobs) job->prepare();
  malloc_trim(0);  // what preparing left behind is nobody's to reuse
  for (const auto& job : jobs) {
    visit(*job, [&] {
      job->check();
      return std::vector<double>(job->rows().size());
    });
  }
  if (!options.json) {
    double load = 0;
    getloadavg(&load, 1);
    std::printf("%d rounds, %u cores, compiler " __VERSION__ ", load before %.1f\n", options.repetitions,
                std::thread::hardware_concurrency(), load);
  }
  measureAll(jobs, options.repetitions);

  const std::vector<Row> rows = inOrder(jobs, options.only);
  std::vector<Line> lines;
  for (const Row& row : rows) lines.emplace_back(row, rows);
  options.json ? printJson(lines) : printTable(lines);
  const bool bound = targets == Targets::binding && !options.quick;
  return bound && !std::ranges::all_of(lines, &Line::met) ? 1 : 0;
}

}  // namespace bench
