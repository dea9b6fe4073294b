/* The four calls of the platform's log-monitor library, libVesker.so. The library itself belongs to
 * the platform and is closed; this is our own declaration of it. Beside it stands an implementation
 * for machines without the platform, vesker.cc, over inotify.
 *
 * No call may be made from two threads at a time for one handle. Inside a callback, vesker_close of
 * the same handle is allowed. */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

struct vesker;

/* Called from vesker_process_event, once for each event: a batch of complete lines that were appended
 * to the file. The stand-in passes the number of lines in `lines` and their bytes, line ends counted,
 * in `bytes`, each at most INT_MAX. What the platform's library passes is its own affair; pass both
 * on unchanged. */
typedef void vesker_callback(int lines, void *userdata, int bytes);

/* Starts watching the log called `filename` from its present end on. Returns a handle, or null with
 * errno set. `userdata` is handed to the callback unchanged and not looked at. */
struct vesker *vesker_open(const char *filename, vesker_callback *callback, void *userdata);

/* A descriptor that becomes readable when the log has news; negative when there is none. It belongs
 * to the handle. */
int vesker_inotify_fd(struct vesker *handle);

/* Takes in what is pending on the descriptor and calls the callback for each event. Never waits.
 * Returns the number of events, or -1 with errno set. */
int vesker_process_event(struct vesker *handle);

/* Stops watching and frees the handle, its descriptor included. */
void vesker_close(struct vesker *handle);

#ifdef __cplusplus
}
#endif
