// The routes of MRT records: one for each prefix of a RIB entry, and for each that an UPDATE withdraws or announces.
//
// A route is spans into its record; what all routes of a path share, its attributes, is read once, and the AS path only
// when it is asked for. Valid during the call that brings it. Single-threaded.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "tools/velbgp/AsPath.h"
#include "tools/velbgp/Family.h"
#include "tools/velbgp/Kind.h"
#include "tools/velbgp/MrtReader.h"

namespace VelBgpTool {

// The attributes of a path. Of a repeated one the first stands.
class RoutePath {
 public:
  enum Code : std::uint8_t {
    origin = 1,
    asPathCode = 2,
    nextHop = 3,
    multiExitDisc = 4,
    localPref = 5,
    atomicAggregate = 6,
    aggregator = 7,
    communities = 8,
    mpReach = 14,
    mpUnreach = 15,
    as4Path = 17,
    as4Aggregator = 18,
  };

  // How AS paths and next hops are to be understood.
  struct Form {
    bool rib = false;
    bool fourOctetAs = true;
    bool mergesAs4 = false;
    bool pathIds = false;
  };

  // The attributes of the next path, whose headers are whole.
  void attributesAre(Octets block, const Form& form);
  const Form& form() const { return form_; }

  // Whether it is there, well formed or not.
  bool has(unsigned code) const { return (seen_ >> code & 1) != 0; }
  Octets value(unsigned code) const { return has(code) ? values_[code] : Octets(); }

  // Of attributes 1, 2, 3, 14 and 15: what is wrong with it, and empty if nothing is or it is not there. Judged once.
  std::string judge(Code code);
  // Whether it is there and was not found malformed.
  bool good(Code code) const { return ((seen_ & ~malformed_) >> code & 1) != 0; }

  // Of a good attribute 2, merged.
  const AsPath& asPath();
  std::string_view asPathText();
  // Of a good attribute 1.
  const char* originText() const;
  // Four or sixteen octets, or none. Of what is in the NLRI field; of what is in attribute 14; of an entry of a RIB.
  Octets ownNextHop() const { return good(nextHop) ? value(nextHop) : Octets(); }
  Octets mpNextHop() const;
  Octets ribNextHop() const { return good(mpReach) ? mpNextHop() : ownNextHop(); }

  // Of each kind the values of a well-formed attribute.
  std::array<Octets, kindCount> lists;
  // Tells paths apart, while one stream is read.
  std::uint64_t number() const { return number_; }

 private:
  static constexpr unsigned mostCode = 32;
  std::string faultOf(Code code) const;
  std::string mpReachFault() const;
  std::string mpUnreachFault() const;
  bool as4PathCounts() const;

  std::uint64_t number_ = 0;
  Form form_;
  std::uint64_t seen_ = 0;  // a bit for each code
  std::uint64_t malformed_ = 0;
  std::array<Octets, mostCode + 1> values_;
  bool asPathRead_ = false;
  bool asPathWritten_ = false;
  AsPath asPath_;
  std::string asPathText_;
};

// Where a route leads.
struct RouteTarget {
  Family family;
  bool isPrefix = false;  // else nlri is the whole field
  bool hasPathId = false;
  Nlri nlri;
};

struct Route {
  enum class Type : std::uint8_t { rib, announce, withdraw };

  Type type;
  MrtTime time;
  MrtPeer peer;
  bool local;
  RouteTarget target;
  RoutePath* path;   // null for one that is withdrawn
  Octets nextHop;    // 4 or 16 octets, or none
  bool ofAttribute;  // 14 or 15, not of a field of the message or of a RIB
  const MrtRecord* record;
};

// What is said of a route's path: what is absent or malformed is null or empty.
struct RouteFacts {
  bool hasAsPath = false;
  std::string_view asPath;
  const char* origin = nullptr;
  Octets nextHop;
  std::array<Octets, kindCount> lists;
};
RouteFacts factsOf(const Route& route);

// "rib", "announce", "withdraw".
const char* textOf(Route::Type type);

// Attribute 14 or 15 taken apart.
struct MpField {
  Family family;
  Octets nextHop;
  Octets nlri;
  // What could be read is there even of one that ends early; false then.
  bool reachIs(Octets attribute);
  bool unreachIs(Octets attribute);
};

class RouteSink {
 public:
  virtual ~RouteSink() = default;
  virtual void routeIs(Route& route) = 0;
  virtual void stateChangeIs(const MrtRecord&) {}
  // The old form of a state change, of eight octets, which is malformed.
  virtual void oldStateChangeIs(const MrtHeader&, Octets) {}
  virtual void faultIs(std::uint64_t offset, const std::string& fault) = 0;
  virtual bool wantsMore() const { return true; }
};

// Reads the routes of records.
class RouteWalk final : public MrtSink {
 public:
  // Lenient: what can be read of a malformed attribute 14 or 15 is given out too, and the prefixes of the family that is
  // both unicast and multicast.
  enum class Reading { strict, lenient };
  explicit RouteWalk(RouteSink& sink, Reading reading = Reading::strict)
      : sink_(sink), lenient_(reading == Reading::lenient) {}

  void recordIs(const MrtRecord& record, std::uint64_t offset) override;
  void malformedIs(const MrtHeader& header, Octets body) override;
  void faultIs(std::uint64_t offset, const std::string& fault) override { sink_.faultIs(offset, fault); }
  bool wantsMore() const override { return sink_.wantsMore(); }

 private:
  void ribIs(const MrtRecord& record, std::uint64_t offset);
  void updateIs(const MrtRecord& record, std::uint64_t offset);
  bool fieldsAreWhole(const MrtRecord& record, std::uint64_t offset);
  // Of path `number` of the record: its attributes, and what is wrong with them.
  void pathIs(const MrtRecord& record, std::uint32_t number, Octets block, const RoutePath::Form& form,
              std::uint64_t offset);
  bool isRead(RoutePath::Code code) const;
  // The routes of a field of the message; of an attribute.
  void fieldIs(Route& route, Octets field);
  void attributeIs(Route& route, const MpField& field);
  void prefixesAre(Route& route, Octets field);
  bool readsPrefixes(Family family) const;

  RouteSink& sink_;
  const bool lenient_;
  RoutePath path_;
  std::size_t attribute_ = 0;  // of the record's community attributes, the next
};

}  // namespace VelBgpTool
