// The engine that has HAProxy do the forwarding, on any machine and without root.
#pragma once

#include "executor/forwarding/engine.h"

namespace rk {

// Starts HAProxy with nothing to do, and makes it an engine. False when it cannot be had; `words` say why.
bool openProxyEngine(Engine &engine, LogText &words);

} // namespace rk
