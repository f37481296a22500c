// The platform seams' tests, built twice: natively against the Linux
// implementations, and with mingw-w64 against the Windows ones, which then run
// under Wine. Both builds run the same cases where the two promise the same.
#define DOCTEST_CONFIG_IMPLEMENT
#include "SeamTest.h"

int main(int argc, char **argv)
{
    // The process tests start this program again as their child.
    if (const int child = orvex::seamtest::runAsChild(argc, argv); child >= 0)
        return child;
    doctest::Context context(argc, argv);
    return context.run();
}
