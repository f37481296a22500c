# Cross-compiles for 64-bit Windows with Debian's mingw-w64. The posix thread
# model is the one Qt needs (std::thread, std::mutex).
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(ORVEX_MINGW_TRIPLE x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${ORVEX_MINGW_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${ORVEX_MINGW_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${ORVEX_MINGW_TRIPLE}-windres)

# Libraries and headers come from the mingw-w64 sysroot and the prefixes the
# caller lists (Qt, libzip); programs (moc, uic) from the host.
set(CMAKE_FIND_ROOT_PATH /usr/${ORVEX_MINGW_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY BOTH)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE BOTH)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)
