// The platform seams' tests, built twice: natively against the Linux
// implementations, and with mingw-w64 against the Windows ones, which then run
// under Wine. Both builds run the same cases where the two promise the same.
#define DOCTEST_CONFIG_IMPLEMENT_WITH_MAIN
#include "SeamTest.h"
