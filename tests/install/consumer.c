/* A program outside the project that only knows the installed header and library. */
#include <stdio.h>
#include <string.h>
#include <tarndll.h>

int main(void) {
    task_t* task = createTask();
    if (!task) {
        fprintf(stderr, "createTask failed\n");
        return 1;
    }
    int state = getState(task);
    int port = setIPPort(task, 1023);
    deleteTask(task);
    if (state != TASK_UNINITIALIZED || port != ERR_BAD_IP_PORT) {
        fprintf(stderr, "unexpected results: state %d, port %d\n", state, port);
        return 1;
    }
    if (strcmp(versionString(), "ORVEK tarndll 2.12, libtarn 1.8, libbytecode 2.10") != 0) {
        fprintf(stderr, "wrong version text\n");
        return 1;
    }
    printf("consumer ok: %s\n", versionString());
    return 0;
}
