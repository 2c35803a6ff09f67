/* Prints all error codes, with their names and meanings. */
#include <XAVO.h>

int main(void) {
#define PRINT(constant, value, name, meaning) printf("%4d %-27s %s\n", value, name, meaning);
    XAVO_ERROR_CODES(PRINT)
    return 0;
}
