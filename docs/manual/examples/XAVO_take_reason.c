/* Deletes a job, and says in the service's own words why not. */
#include <XAVO_companion.h>

int main(int argc, char **argv) {
    XAVO_ErrorCode ec;
    XAVO_Reason reason;
    XAVO_Proxy *sp = argc == 2 ? XAVO_borrow(&ec, NULL, 10000, NULL) : NULL;
    if (sp == NULL)
        return 1;
    XAVO_invoke_DeleteJobQueue(sp, &ec, argv[1]);
    XAVO_take_reason(sp, ec, &reason);
    printf("%s, %s: %s %s\n", XAVO_EC_to_string(ec), XAVO_reason_to_string(reason.kind), reason.message_id,
           reason.message);
    XAVO_give_back(sp);
    return ec != XAVO_NO_ERROR;
}
