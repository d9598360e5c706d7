// Copies of connections between two directors, by the kernel's load balancer: each copies to the other all the time, so
// that nothing has to be switched when one takes over.
#pragma once

#include "executor/state/log_text.h"

#include <string>

namespace rk {

// Copies to whoever is in the network of `interface`, and takes copies from there, by multicast at the UDP port `port`,
// until stopConnectionCopies. False when the kernel does not; then nothing is copied, and `words` say why.
bool startConnectionCopies(const std::string &interface, uint16_t port, LogText &words);

// Ends it, and puts back the settings that were changed for it.
void stopConnectionCopies();

} // namespace rk
