#include "simulated/base/ComObject.h"

#include <atomic>

namespace simulated {
namespace {

std::atomic<std::size_t> openCount = 0;

}  // namespace

ComObject::ComObject() { ++openCount; }

ComObject::~ComObject() { --openCount; }

std::size_t ComObject::OpenCount() { return openCount; }

}  // namespace simulated
