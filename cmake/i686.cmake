# Toolchain for 32-bit x86 on an x86-64 machine: g++ with the multilib packages.
# File offsets are 64 bits wide, time_t keeps the 32 bits of this ABI.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(CMAKE_C_COMPILER gcc)
set(CMAKE_CXX_COMPILER g++)
set(CMAKE_C_FLAGS_INIT "-m32 -march=i686 -D_FILE_OFFSET_BITS=64")
set(CMAKE_CXX_FLAGS_INIT "${CMAKE_C_FLAGS_INIT}")
