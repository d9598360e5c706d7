# Builds for another machine, which is emulated. tests/machines/run tells which: PROCESSOR is its name, TRIPLET that of its
# compiler, EMULATOR the program that runs its programs, and SYSROOT the folder with its libraries and its Java VM.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ${PROCESSOR})
set(CMAKE_C_COMPILER ${TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${TRIPLET}-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR ${EMULATOR} -L ${SYSROOT})
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES PROCESSOR TRIPLET EMULATOR SYSROOT)

# Libraries and packages are the machine's; the Java compiler is the host's.
set(CMAKE_FIND_ROOT_PATH ${SYSROOT} ${CMAKE_PREFIX_PATH})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
