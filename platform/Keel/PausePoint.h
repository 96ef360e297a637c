// Named points where a test makes threads wait, so that a race which lasts a few instructions becomes one that lasts.
// Nothing in the library: only a test program that compiles these sources itself defines KEEL_PAUSE_POINTS.
#pragma once

#ifdef KEEL_PAUSE_POINTS
namespace Keel::detail {
enum class PausePoint {
  slotGiven,     // a slot is among the free ones, its chunk not yet settled
  missed,        // a lookup found nothing, and what it wants is not yet inserted
  found,         // a lookup has a reference, and has not yet counted itself
  counted,       // it has counted itself, and has not yet looked whether the object is the table's
  lastRead,      // a holder found itself the last one, and does not have the bucket yet
  unlinked,      // an object has left, which was not told yet
  inserted,      // an object has come, which was not told yet
  told,          // an observer was told, and the next event was not looked at yet
  walking,       // a walk holds what was in a bucket, and has not yet visited it
  tableEmptied,  // a table that is being destroyed holds nothing any more, and can still be found by its number
};
void pausePoint(PausePoint point) noexcept;  // the test program's own
}  // namespace Keel::detail
#define KEEL_PAUSE_POINT(name) ::Keel::detail::pausePoint(::Keel::detail::PausePoint::name)
#else
#define KEEL_PAUSE_POINT(name) static_cast<void>(0)
#endif
