// The pointers of the framework, for headers that only name what they point to.
#pragma once

namespace boost {
template <class T>
class intrusive_ptr;
}

namespace Tyr {

// A one-word counted pointer. Ptr<const X> is what every class calls PtrConst. Copying one takes Tyr/PtrInterface.h.
template <typename T>
using Ptr = boost::intrusive_ptr<T>;
template <typename T>
using PtrConst = boost::intrusive_ptr<const T>;

}  // namespace Tyr
