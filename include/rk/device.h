// The character device of the kernel executor.
#pragma once

namespace rk {

inline constexpr char kExecutorDevice[] = "/dev/qelxw";
inline constexpr unsigned long kExecutorRequest = 0x4321; // ioctl request: perform the command block at the argument

} // namespace rk
