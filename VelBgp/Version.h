// The version that a program is compiled with; the build reads it from here. Before 1.0 each minor version may change the
// interface and the ABI.
#pragma once

#define VELBGP_VERSION "0.1.0"

// 10,000 for each major version, 100 for each minor one, 1 for each patch: `#if VELBGP_VERSION_NUMBER >= 100`.
#define VELBGP_VERSION_NUMBER 100
