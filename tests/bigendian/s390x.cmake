# Builds for s390x, the big-endian machine that Debian has a compiler and a Java VM for. SYSROOT is the folder with the
# machine's libraries and Java VM, which tests/bigendian/run fills.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(CMAKE_C_COMPILER s390x-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER s390x-linux-gnu-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-s390x-static -L ${SYSROOT})
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES SYSROOT)

# Libraries and packages are the machine's; the Java compiler is the host's.
set(CMAKE_FIND_ROOT_PATH ${SYSROOT} ${CMAKE_PREFIX_PATH})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
