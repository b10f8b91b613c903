#pragma once

#include <linux/input-event-codes.h>

#include <bitset>

namespace keysong {

/// A set of Linux key and button codes.
using KeySet = std::bitset<KEY_CNT>;

} // namespace keysong
