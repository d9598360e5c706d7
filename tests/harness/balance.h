// What a native call obtains and has to give back: local references, strings' characters, copied elements, memory.
#pragma once

#include <cstddef>
#include <functional>

namespace java {

// From now on, a call of a native method that keeps anything fails the test that makes it.
void watchBalance();

// How many local references, strings' characters and elements are obtained while `action` runs and not given back.
std::size_t referencesKept(const std::function<void()> &action);

} // namespace java
