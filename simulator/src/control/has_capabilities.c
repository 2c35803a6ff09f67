/* has_capabilities.c - exits with status 0 if the program file given as its argument has file capabilities,
 * and with 1 if it has none. */
#include <sys/xattr.h>

int main(int argc, char **argv) {
    return argc == 2 && getxattr(argv[1], "security.capability", (void *)0, 0) > 0 ? 0 : 1;
}
