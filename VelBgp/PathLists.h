// PathLists: the interned lists of one path. Copies share the lists.
#pragma once

#include "VelBgp/CommList.h"
#include "VelBgp/ExtCommIp6List.h"
#include "VelBgp/ExtCommList.h"
#include "VelBgp/LargeCommList.h"

namespace Routing::Bgp {

// Members that are not named in an initializer are null.
struct PathLists {
  ExtCommList::PtrConst extended = {};
  ExtCommIp6List::PtrConst extendedIp6 = {};
  LargeCommList::PtrConst large = {};
  CommList::PtrConst standard = {};
};

}  // namespace Routing::Bgp
