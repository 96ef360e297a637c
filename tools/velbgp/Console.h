// Where the tool's words go: results on standard output, buffered; errors, notes and the progress line on standard
// error, one line each.
//
// A write that fails throws OutputFailure once; from then on output is dropped, so that what is unwound may still
// print. Single-threaded.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace VelBgpTool {

// Standard output takes no more; `error` is the errno that said so.
struct OutputFailure {
  int error;
};

// The place of a piece of input: the source's name, and a line or position (from 1) or, in a binary file, an octet
// offset.
struct Place {
  std::string_view source;
  std::uint64_t number;
  bool isOffset = false;
};

class Console {
 public:
  Console(int outFd, int errFd);
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;

  // Results. `line` adds the line's end.
  void print(std::string_view text);
  void line(std::string_view text);
  void flush();
  // Waits so long, or less when nobody reads the results any more, which it tells, or a signal comes.
  bool readerGoesWithin(std::chrono::milliseconds time) const;

  // "velbgp: SOURCE:PLACE: what", or without a place "velbgp: what". The source may hold any characters.
  void error(const Place& place, std::string_view what);
  void error(std::string_view what);
  void note(const Place& place, std::string_view what);
  void note(std::string_view what);
  // True once an error was printed.
  bool failed() const { return failed_; }

  bool outIsTerminal() const { return outIsTerminal_; }
  bool errIsTerminal() const { return errIsTerminal_; }
  // Whether results may carry colour: a terminal that can, and a user who has not set NO_COLOR.
  bool colour() const { return colour_; }
  // Columns of the terminal that results go to; 0 when there is none.
  unsigned columns() const;

  // The one line of progress, drawn over the one before. Nothing happens unless standard error is a terminal.
  void progressIs(std::string_view text);
  void progressDel();

 private:
  void complain(std::string_view label, const Place* place, std::string_view what);

  int outFd_;
  int errFd_;
  bool outIsTerminal_;
  bool errIsTerminal_;
  bool colour_;
  bool failed_ = false;
  bool outClosed_ = false;
  bool progressShown_ = false;
  std::string out_;
};

}  // namespace VelBgpTool
