// Stands in for the command-line tool at Contents/MacOS/zor-cli, which is built
// with the background services; the bundle is complete once that tool replaces it.
#include <cstdio>

int main() {
    std::fputs("zor-cli: this Zor.app holds a placeholder; the command-line tool is built with "
               "the background services.\n",
               stderr);
    return 1;
}
