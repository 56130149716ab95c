/** The machine's graphics adapters. */
#pragma once

#include <string>
#include <vector>

namespace kestrelbay {

/**
 * Lists the adapters of a DXGI factory, read anew at each call. Thread-safe.
 * @return UTF-8 descriptions in the system's order; an adapter that cannot be described has an empty one.
 *         Empty if there is no factory.
 */
std::vector<std::string> GraphicsAdapterNames();

}  // namespace kestrelbay
