/* SPDX-License-Identifier: Apache-2.0 */
/* The camera as a shared library that a program loads: its own loop runs on a thread of its own. */
#include <pthread.h>
#include <stddef.h>

#include "camera.h"
#include "tq_application.h"

static pthread_t loop;

static void *run_loop(void *unused) {
    (void)unused;
    camera_loop();
    return NULL;
}

int tq_application_start(const char *configuration) {
    int result = camera_start();

    (void)configuration; /* This camera has nothing to configure. */
    if (result != 0) {
        return result;
    }
    result = pthread_create(&loop, NULL, run_loop, NULL);
    if (result != 0) {
        camera_stop();
    }
    return result;
}

int tq_application_stop(void) {
    camera_leave(); /* A picture that was asked for is taken first, and reported while the module still runs.
                     */
    pthread_join(loop, NULL);
    camera_stop();
    return 0;
}
