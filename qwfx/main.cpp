// qwfx: loads the effect module and runs its effects.
#include <cstdio>
#include <cstring>

int main(int argc, char** argv)
{
    if (argc < 2 || std::strcmp(argv[1], "--help") == 0) {
        std::printf("usage: qwfx COMMAND ...\n");
        return argc < 2 ? 2 : 0;
    }
    std::fprintf(stderr, "qwfx: unknown command '%s'\n", argv[1]);
    return 2;
}
