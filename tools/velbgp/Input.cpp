#include "tools/velbgp/Input.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace VelBgpTool {

std::size_t FileInput::read(std::uint8_t* to, std::size_t size) {
  // A terminal's end of input is not asked for twice.
  if (ended_ || size == 0) return 0;
  ssize_t got;
  do {
    got = ::read(fd_, to, size);
  } while (got < 0 && errno == EINTR);
  ended_ = got <= 0;
  if (got < 0) error_ = errno;
  const auto count = static_cast<std::size_t>(std::max<ssize_t>(got, 0));
  taken_ += count;
  return count;
}

Octets Window::peek(std::size_t least) {
  while (end_ - begin_ < least && fill()) {
  }
  return {octets_.get() + begin_, end_ - begin_};
}

std::uint64_t Window::skip(std::uint64_t count) {
  std::uint64_t dropped = 0;
  for (;;) {
    const std::uint64_t here = std::min<std::uint64_t>(end_ - begin_, count - dropped);
    begin_ += here;
    dropped += here;
    if (dropped == count || !fill()) return dropped;
  }
}

// Room behind the octets that are here: at the front if they were moved up, else twice the memory. That is asked for
// only when all there is has been filled.
void Window::makeRoom() {
  if (begin_ == 0 && end_ == capacity_) {
    std::unique_ptr<std::uint8_t[]> larger(new std::uint8_t[2 * capacity_]);
    std::memcpy(larger.get(), octets_.get(), end_);
    octets_ = std::move(larger);
    capacity_ *= 2;
  } else if (end_ == capacity_ || begin_ == end_) {
    std::memmove(octets_.get(), octets_.get() + begin_, end_ - begin_);
    end_ -= begin_;
    begin_ = 0;
  }
}

bool Window::fill() {
  makeRoom();
  const std::size_t got = source_.read(octets_.get() + end_, capacity_ - end_);
  end_ += got;
  return got != 0;
}

}  // namespace VelBgpTool
