/* has_capabilities.c - exit status 0 if the file of a program has capabilities, which the kernel gives it,
 * 1 if it has none. */
#include <sys/xattr.h>

int main(int argc, char **argv) {
    return argc == 2 && getxattr(argv[1], "security.capability", (void *)0, 0) > 0 ? 0 : 1;
}
