/* Makes an array of strings for the client library. A handle must be open while the array exists. */
#include <XAVO.h>

int main(void) {
    static char first[] = "JID_1", second[] = "JID_2";
    char *const jobs[] = {first, second, NULL};
    XAVO_Proxy *sp = XAVO_new();
    if (sp == NULL)
        return 1;
    CMPIArray *array = XAVO_build_string_array(jobs);
    XAVO_pr_CMPIArray(0, "jobs", array);
    if (array != NULL)
        array->ft->release(array);
    XAVO_free(sp);
    return array == NULL;
}
