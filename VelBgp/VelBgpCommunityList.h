// The communities of a path as interned lists, in one header: of extended communities
//
//   ExtCommListContent.h          what a list is built from: interned communities, or raw values
//   ExtCommClassificationList.h   the communities of a list that have one classification
//   ExtCommList.h                 the list
//   ExtCommListDedupTable.h       what interns both
//
// and with them those of standard (CommList.h) and large communities (LargeCommList.h), and the expressions that all of
// them are matched with.
#pragma once

#include "Policy/PosixRegex.h"
#include "VelBgp/CommList.h"
#include "VelBgp/ExtCommClassificationList.h"
#include "VelBgp/ExtCommList.h"
#include "VelBgp/ExtCommListContent.h"
#include "VelBgp/ExtCommListDedupTable.h"
#include "VelBgp/LargeCommList.h"
