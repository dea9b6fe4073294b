/* The four calls of the platform's log-monitor library, libVesker.so. The library itself belongs to
 * the platform and is closed; this is our own declaration of it. vesker.cc is an
 * implementation with inotify, for machines without the platform.
 *
 * Only one thread at a time may make calls for a handle. A callback may call vesker_close on its
 * handle. */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

struct vesker;

/* Called from vesker_process_event, once for each event: a batch of complete lines that were
 * appended to the file. vesker.cc passes the number of lines in `lines` and the number of their
 * bytes, line ends included, in `bytes`, each at most INT_MAX. The platform's library may pass
 * something else, so pass both on unchanged. */
typedef void vesker_callback(int lines, void *userdata, int bytes);

/* Starts watching the log called `filename`, from its present end on. Returns a handle, or null
 * with errno set. A relative name is one of the present working folder. `userdata` is passed to the
 * callback unchanged. */
struct vesker *vesker_open(const char *filename, vesker_callback *callback, void *userdata);

/* A descriptor that becomes readable when the log has grown; negative if there is none. It belongs
 * to the handle. */
int vesker_inotify_fd(struct vesker *handle);

/* Reads what is pending on the descriptor and calls the callback for each event. Never blocks.
 * Returns the number of events, or -1 with errno set. */
int vesker_process_event(struct vesker *handle);

/* Stops watching and frees the handle, its descriptor included. */
void vesker_close(struct vesker *handle);

#ifdef __cplusplus
}
#endif
