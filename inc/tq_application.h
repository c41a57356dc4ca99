/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file tq_application.h
 * The two functions by which a program starts and stops a device application that it loads: on a desk
 * `tq_gateway --application PATH`, on a device whatever hosts the application.
 *
 * The application is a shared library that defines both, and links the smart control module. The program
 * calls them in turns, start first, on one thread; after stop it may start the application again. It never
 * unloads the library.
 *
 * The header is valid C99 and C++17.
 */
#ifndef TQ_APPLICATION_H
#define TQ_APPLICATION_H

/** Visible also in a library that is built with hidden symbols. */
#if defined(__GNUC__)
#define TQ_APPLICATION_EXPORT __attribute__((visibility("default")))
#else
#define TQ_APPLICATION_EXPORT
#endif

#ifdef __cplusplus
extern "C" {
#endif

/**
 * tq_application_start starts the application, which calls `tqDevSDK_SmartControl_init` before it returns.
 * Its callbacks may be called from then on, on any thread, while the function still runs.
 *
 * @param configuration a text that means what the application wants it to mean; never null, empty when
 *                      none was given; valid during the call only.
 * @return 0 started. Any other value is a failure: the module is not initialised then, and stop is not
 *         called.
 */
TQ_APPLICATION_EXPORT int tq_application_start(const char *configuration);

/**
 * tq_application_stop finishes or drops what the application is busy with, ends its threads and calls
 * `tqDevSDK_SmartControl_fini`. No callback runs meanwhile.
 *
 * @return 0 stopped; any other value is a failure to tell about, and the application counts as stopped.
 */
TQ_APPLICATION_EXPORT int tq_application_stop(void);

#ifdef __cplusplus
}
#endif

#endif
