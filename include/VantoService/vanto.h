/* SPDX-License-Identifier: Apache-2.0 */
#pragma once

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <sys/types.h>

#include <VantoService/Export.h>

/*
 * The IPC runtime: objects that travel between processes, and the connections they travel on; in C, and in C++.
 *
 * Ownership: a function with "create" or "copy" in its name, vanto_connect(), vanto_call() and vanto_call_service()
 * give a reference, to be dropped with vanto_release(). Other object results are borrowed and live as long as what they
 * came from. Objects handed to a function are borrowed for the call; what keeps them takes references of its own.
 *
 * Threads: any thread may call any function. An array or dictionary must not be changed while another thread uses it,
 * nor after it was sent.
 *
 * Null objects: releasing or retaining null does nothing; a null value is not appended and not set; sending null is
 * VANTO_ERROR_INVALID. A reader given an object of another kind answers 0, false or null.
 */

#ifdef __cplusplus
extern "C" {
#endif

/** An object of the IPC runtime, counted. */
typedef struct vanto_object* vanto_object_t;

/** What an object is. The numbers of the first nine are those of the wire format. */
typedef enum vanto_kind {
  VANTO_KIND_NONE = 0,
  VANTO_KIND_STRING = 1,
  VANTO_KIND_BOOL = 2,
  VANTO_KIND_INT64 = 3,
  VANTO_KIND_DOUBLE = 4,
  VANTO_KIND_DATA = 5,
  VANTO_KIND_ARRAY = 6,
  VANTO_KIND_DICTIONARY = 7,
  VANTO_KIND_FD = 8,
  /** An error: a code and a text. */
  VANTO_KIND_ERROR = 9,
  /** A message that arrived, as an event; never inside another object. */
  VANTO_KIND_MESSAGE = 64,
  /** Never inside another object. */
  VANTO_KIND_LISTENER = 65,
  VANTO_KIND_CONNECTION = 66
} vanto_kind_t;

/** The kind of an object; VANTO_KIND_NONE for null. */
VANTO_EXPORT vanto_kind_t vanto_kind(vanto_object_t object);

/** Takes a further reference and gives its argument back. */
VANTO_EXPORT vanto_object_t vanto_retain(vanto_object_t object);
/**
 * Drops a reference. The last one to a listener or connection closes it; its last event still comes. A connection that
 * a listener has delivered needs none: once resumed it is kept until it has ended.
 */
VANTO_EXPORT void vanto_release(vanto_object_t object);

/**
 * True when both are null, or of one kind with equal contents: doubles with the same bits, data with the same bytes.
 * Carriers of a descriptor, listeners, connections and messages are equal only to themselves.
 */
VANTO_EXPORT bool vanto_equal(vanto_object_t one, vanto_object_t other);

/**
 * A text for people, on one line, with control characters escaped, at most about 8 KiB and a few levels deep; freed by
 * the caller with free(). "(null)" for null.
 */
VANTO_EXPORT char* vanto_copy_description(vanto_object_t object);

/** A string with a copy of NUL-terminated UTF-8; null when `text` is null or no valid UTF-8. */
VANTO_EXPORT vanto_object_t vanto_string_create(const char* text);
/** The same of `length` bytes, none of which is NUL. */
VANTO_EXPORT vanto_object_t vanto_string_create_with_length(const char* text, size_t length);
/** The text with a NUL behind it. */
VANTO_EXPORT const char* vanto_string_get_text(vanto_object_t string);
/** Its length in bytes without the NUL. */
VANTO_EXPORT size_t vanto_string_get_length(vanto_object_t string);

/** One of two objects that live as long as the process. */
VANTO_EXPORT vanto_object_t vanto_bool_create(bool value);
VANTO_EXPORT bool vanto_bool_get_value(vanto_object_t object);

VANTO_EXPORT vanto_object_t vanto_int64_create(int64_t value);
VANTO_EXPORT int64_t vanto_int64_get_value(vanto_object_t object);

VANTO_EXPORT vanto_object_t vanto_double_create(double value);
VANTO_EXPORT double vanto_double_get_value(vanto_object_t object);

/** A data object with a copy of the bytes; null when `bytes` is null and `length` is not 0. */
VANTO_EXPORT vanto_object_t vanto_data_create(const void* bytes, size_t length);
/**
 * A data object over a memfd that is sealed against writing, growing and shrinking (and against further seals):
 * `length` bytes from its start, at most 1 GiB, passed on without a copy. The descriptor is duplicated. Null when it is
 * not such a memfd or is shorter.
 */
VANTO_EXPORT vanto_object_t vanto_data_create_with_sealed_fd(int fd, size_t length);
VANTO_EXPORT size_t vanto_data_get_length(vanto_object_t data);
/** The bytes, aligned for anything; null when there are none, or when those of a sealed memfd cannot be mapped. */
VANTO_EXPORT const void* vanto_data_get_bytes_ptr(vanto_object_t data);

/** An array of `count` objects; null among them is left out. `objects` may be null when `count` is 0. */
VANTO_EXPORT vanto_object_t vanto_array_create(const vanto_object_t* objects, size_t count);
/** Appends `value`, unless it is null, the array itself, or a listener, connection or message. */
VANTO_EXPORT void vanto_array_append_value(vanto_object_t array, vanto_object_t value);
VANTO_EXPORT size_t vanto_array_get_count(vanto_object_t array);
/** The element at `index`; null beyond the end. */
VANTO_EXPORT vanto_object_t vanto_array_get_value(vanto_object_t array, size_t index);

/**
 * A dictionary of `count` entries; of entries with equal keys the last counts, and a pair with a null or no valid UTF-8
 * key or a null value is left out. Both pointers may be null when `count` is 0.
 */
VANTO_EXPORT vanto_object_t vanto_dictionary_create(const char* const* keys, const vanto_object_t* values,
                                                    size_t count);
/**
 * Sets `value` under a copy of `key`, in place of any value there. Nothing changes when `key` is null or no valid
 * UTF-8, or `value` is null, the dictionary itself, or a listener, connection or message.
 */
VANTO_EXPORT void vanto_dictionary_set_value(vanto_object_t dictionary, const char* key, vanto_object_t value);
/** The value under `key`, or null. */
VANTO_EXPORT vanto_object_t vanto_dictionary_get_value(vanto_object_t dictionary, const char* key);
VANTO_EXPORT size_t vanto_dictionary_get_count(vanto_object_t dictionary);
/** Called for each entry; answers whether to go on. */
typedef bool (*vanto_dictionary_applier_t)(const char* key, vanto_object_t value, void* context);
/**
 * Calls `function` for each entry in ascending byte order of keys; it must not change the dictionary. True when every
 * call answered true.
 */
VANTO_EXPORT bool vanto_dictionary_apply(vanto_object_t dictionary, vanto_dictionary_applier_t function, void* context);

/** An object that carries a duplicate of `fd`; null when that cannot be duplicated. */
VANTO_EXPORT vanto_object_t vanto_fd_create(int fd);
/** A new duplicate, close-on-exec, owned by the caller; -1 with errno on failure, EINVAL for an object of another kind.
 */
VANTO_EXPORT int vanto_fd_copy(vanto_object_t object);

/** Why something did not work. */
typedef enum vanto_error_code {
  VANTO_ERROR_NONE = 0,
  /** An argument is null, of the wrong kind, or outside its range. */
  VANTO_ERROR_INVALID = 1,
  /** No service of that name listens. */
  VANTO_ERROR_NO_SERVICE = 2,
  /** The service does not admit this client, which it may find out after the connection was made; nothing was done. */
  VANTO_ERROR_REFUSED = 3,
  /** The connection ended before the answer came. The request may or may not have been carried out. */
  VANTO_ERROR_CLOSED = 4,
  VANTO_ERROR_TIMED_OUT = 5,
  VANTO_ERROR_CANCELLED = 6,
  /** The peer broke the protocol; the connection is closed. */
  VANTO_ERROR_PROTOCOL = 7,
  /**
   * A message beyond a limit of size, nesting or descriptors; nothing of it was sent. Or, of a listener: too many
   * listening sockets were handed over to the process.
   */
  VANTO_ERROR_TOO_LARGE = 8,
  /**
   * A bounded queue is full: too many messages wait to be sent, or too many replies are outstanding. As the last event
   * of a connection: one end would have held too many large messages of the other one's user; calls outstanding then
   * get VANTO_ERROR_CLOSED.
   */
  VANTO_ERROR_FULL = 9,
  /** The peer speaks no protocol version that this library knows. */
  VANTO_ERROR_VERSION = 10,
  /** The name is in use by another listener. */
  VANTO_ERROR_IN_USE = 11,
  /** The name cannot be a service name: empty, too long or not UTF-8. */
  VANTO_ERROR_NAME = 12,
  /** The service dropped the request without an answer. */
  VANTO_ERROR_NO_REPLY = 13,
  /** A system call failed, or this process may have no more descriptors; the text tells which. */
  VANTO_ERROR_SYSTEM = 14,
  /** The service could not be started; where its manager has told why, the text does. */
  VANTO_ERROR_START = 15,
  /** No code of its own: the largest that an error can carry. */
  VANTO_ERROR_LARGEST = 0x7fffffff
} vanto_error_code_t;

/**
 * An error object; `text` may be null for the code's own text. Null when the code is outside 1 to VANTO_ERROR_LARGEST
 * or the text is no valid UTF-8.
 */
VANTO_EXPORT vanto_object_t vanto_error_create(vanto_error_code_t code, const char* text);
/** The code; VANTO_ERROR_NONE for an object that is no error. A code from a newer peer is kept as it came. */
VANTO_EXPORT vanto_error_code_t vanto_error_get_code(vanto_object_t error);
VANTO_EXPORT const char* vanto_error_get_text(vanto_object_t error);
/** A short English text for a code, never null. */
VANTO_EXPORT const char* vanto_error_text(vanto_error_code_t code);

/** Times are durations in nanoseconds from the call on. */
#define VANTO_WAIT_FOREVER UINT64_MAX

/**
 * A serial dispatch queue: runs its work items one at a time, on threads of the library. In C++ the same as a
 * dispatch_queue_t (see dispatch.h). Null stands for a queue of the connection's own.
 */
typedef struct dispatch_queue_s* vanto_queue_t;

/** A new queue, owned by the caller; `label` is copied and names it to people. Null when it is null. Starts no thread.
 */
VANTO_EXPORT vanto_queue_t vanto_queue_create(const char* label);
/** Adds a reference and returns `queue`, which may be null. */
VANTO_EXPORT vanto_queue_t vanto_queue_retain(vanto_queue_t queue);
/**
 * Drops a reference; `queue` may be null. A queue lives as long as a listener or connection uses it, or it still has
 * work.
 */
VANTO_EXPORT void vanto_queue_release(vanto_queue_t queue);

/** Receives the events of a listener or connection on its queue, one at a time. Both objects are borrowed. */
typedef void (*vanto_event_function_t)(vanto_object_t connection, vanto_object_t event, void* context);
/** Receives one reply, or an error object, on the connection's queue. Borrowed. */
typedef void (*vanto_reply_function_t)(vanto_object_t reply, void* context);
/** Called once when a context is no longer needed. */
typedef void (*vanto_context_release_t)(void* context);

/**
 * A listener for the service `name`; its events come on `queue`: a connection for each client that is admitted, or an
 * error after which no further event comes. An inherited listening socket of that name is used where there is one, else
 * the name is bound in the user's domain directory, either when the listener is resumed. An inherited socket has the
 * name that LISTEN_FDNAMES gives it; if it is the only one, it needs none ("unknown", nothing, or that of a socket
 * unit). Never null for a valid argument; a failure to bind arrives as the first event. In a process with a listener
 * SIGTERM, where its default action stands, ends the process with status 0 when what it has in hand is done.
 */
VANTO_EXPORT vanto_object_t vanto_connection_create_listener(const char* name, vanto_queue_t queue);

/**
 * Sets the function that gets the events of a listener or connection, before it is resumed. `release`, which may be
 * null, is called once with `context`, when the last event was delivered or another function is set, and never while
 * the function runs; at once when the last event was delivered already, or when `connection` is no listener or
 * connection. A null `function` takes away the one there was: events then go nowhere, and `context` stays the caller's,
 * `release` is not called for it. Events of a connection: messages, and last an error when it ends (VANTO_ERROR_CLOSED
 * when the peer closed it).
 */
VANTO_EXPORT void vanto_connection_set_event_function(vanto_object_t connection, vanto_event_function_t function,
                                                      void* context, vanto_context_release_t release);

/** Sets the queue for a connection's events, before it is resumed; one that was accepted has its listener's first. */
VANTO_EXPORT void vanto_connection_set_queue(vanto_object_t connection, vanto_queue_t queue);

/**
 * Starts the delivery of events; later calls do nothing. A connection that is only used with vanto_call() needs none.
 * One that a listener has delivered is closed when the listener's event function has neither resumed nor retained it.
 */
VANTO_EXPORT void vanto_connection_resume(vanto_object_t connection);

/**
 * True when a service can listen under `name`: it is not empty, valid UTF-8, and short enough for the name of a socket
 * file, which has at most 255 bytes; all but letters, digits, '.', '-' and '_' take three of them. Null is no name.
 */
VANTO_EXPORT bool vanto_service_name_is_valid(const char* name);

/**
 * Connects to the service `name`, looked for in the session, user and system domain in this order, and exchanges
 * greetings with it. Blocks up to `timeout`. A connection, or an error object, whose text is that of the refusal where
 * one came with a text. Starts no thread.
 */
VANTO_EXPORT vanto_object_t vanto_connect(const char* name, vanto_queue_t queue, uint64_t timeout);

/**
 * Connects, sends a request, waits for its reply and closes, within `timeout`. Sooner than in three steps: up to 64 KiB
 * without descriptors wait for no greeting, unless the service judges its clients by their code, so whoever has bound
 * the name gets them. Tried again only while nobody can have seen the request.
 */
VANTO_EXPORT vanto_object_t vanto_call_service(const char* name, vanto_object_t message, uint64_t timeout);

/**
 * Sends a message that expects no reply; `message` may be of any kind that can travel. Waits up to `timeout` for room
 * in the send queue, 0 not at all, and gives VANTO_ERROR_FULL when there was none. VANTO_ERROR_NONE once the message is
 * queued or sent; what is queued leaves by the library's threads.
 */
VANTO_EXPORT vanto_error_code_t vanto_send(vanto_object_t connection, vanto_object_t message, uint64_t timeout);

/**
 * Sends a request and waits up to `timeout` for its reply, reading the socket in the calling thread; the service is
 * told the deadline. VANTO_ERROR_FULL when there was no room for the request until then. The reply, or an error object;
 * never null. Works on every connection, also from inside its event function.
 */
VANTO_EXPORT vanto_object_t vanto_call(vanto_object_t connection, vanto_object_t message, uint64_t timeout);

/**
 * Sends a request whose reply goes to `function`, exactly once, on the connection's queue: the reply, or an error
 * object. The result names the call for vanto_cancel(); 0, with `function` never called, when the request could not be
 * queued.
 */
VANTO_EXPORT uint64_t vanto_call_async(vanto_object_t connection, vanto_object_t message, uint64_t timeout,
                                       vanto_reply_function_t function, void* context);

/** Cancels a call: its function gets VANTO_ERROR_CANCELLED, unless its reply is already on the way to it. */
VANTO_EXPORT void vanto_cancel(vanto_object_t connection, uint64_t call);

/**
 * Closes a listener or connection: what is queued is still sent, for five seconds at most; outstanding calls get
 * VANTO_ERROR_CANCELLED; messages not delivered yet are dropped; and the last event is an error, VANTO_ERROR_CANCELLED.
 */
VANTO_EXPORT void vanto_close(vanto_object_t connection);

/** The object that a message event carries. */
VANTO_EXPORT vanto_object_t vanto_message_get_body(vanto_object_t message);
/** True when the sender waits for a reply that was not sent yet. */
VANTO_EXPORT bool vanto_message_expects_reply(vanto_object_t message);
/** True when the sender has cancelled the request or its deadline has passed, so that work on it is wasted. */
VANTO_EXPORT bool vanto_message_is_cancelled(vanto_object_t message);
/**
 * Answers a message, at most once; may be called later and from any thread, if the message is retained until then.
 * VANTO_ERROR_INVALID when it expects no reply or was answered. A request that is let go unanswered gets
 * VANTO_ERROR_NO_REPLY.
 */
VANTO_EXPORT vanto_error_code_t vanto_reply(vanto_object_t message, vanto_object_t reply);

/** The identity of a peer process as eight words; decode it with audit_token_to_au32(). */
typedef struct audit_token {
  uint32_t val[8];
} audit_token_t;

/**
 * Who is at the other end of a connection, as the kernel attested it when it was made. The start time in the token is
 * not attested: it is read when first asked for, if not before, and 0 for a peer gone by then or foreign.
 */
typedef struct vanto_identity {
  pid_t pid;
  uid_t uid;
  gid_t gid;
  audit_token_t token;
} vanto_identity_t;

/** Fills in the peer's identity. False, with nothing stored, when `connection` is no connection. */
VANTO_EXPORT bool vanto_peer_identity(vanto_object_t connection, vanto_identity_t* identity);

/** Takes the words of an audit token apart; each output may be null. Some words have no meaning here and give 0. */
VANTO_EXPORT void audit_token_to_au32(audit_token_t token, uid_t* audit_uid, uid_t* effective_uid, gid_t* effective_gid,
                                      uid_t* real_uid, gid_t* real_gid, pid_t* pid, uint32_t* session,
                                      uint32_t* terminal);

/**
 * Decides whether the peer with this audit token may connect. It holds no start time where that cannot be seen: of a
 * peer that is gone or in a foreign pid namespace (process id 0), or in a confined process. When the peer's code was
 * asked for, true admits it only if its process is known and still the same when it answers the greeting.
 */
typedef bool (*vanto_peer_evaluator_t)(audit_token_t token);

/**
 * Has `evaluator` called once for each peer that connects to a listener of this process, on the listener's reading
 * thread, which refuses it for false. The first two arguments are null. To be called before any listener is resumed.
 */
VANTO_EXPORT void vanto_handle_service(void* reserved, void* reserved_too, vanto_peer_evaluator_t evaluator);

/**
 * Sets how many connections one user may have open to the listeners of this process, 1,024 unless set. Who is beyond it
 * gets VANTO_ERROR_FULL; open ones stay. All users together may have three quarters of the process's descriptors.
 */
VANTO_EXPORT void vanto_set_connections_per_user(size_t count);

/** Has the runtime count this process's activity: while there is none, a service manager may ask it to go. */
VANTO_EXPORT void vanto_track_activity(void);

#ifdef __cplusplus
} /* extern "C" */

#include <memory>
#include <type_traits>
#include <utility>

/** Sets a callable, called as handler(connection, event), as the receiver of events; see the function form. */
template <typename Handler>
void vanto_connection_set_event_handler(vanto_object_t connection, Handler&& handler) {
  using Stored = std::decay_t<Handler>;
  auto stored = std::make_unique<Stored>(std::forward<Handler>(handler));
  vanto_connection_set_event_function(
      connection,
      [](vanto_object_t source, vanto_object_t event, void* context) noexcept {
        (*static_cast<Stored*>(context))(source, event);
      },
      stored.release(), [](void* context) { delete static_cast<Stored*>(context); });
}

/** The same as the function form for a callable, called as handler(reply). */
template <typename Handler>
requires std::is_invocable_v<Handler&, vanto_object_t> uint64_t vanto_call_async(vanto_object_t connection,
                                                                                 vanto_object_t message,
                                                                                 uint64_t timeout, Handler&& handler) {
  using Stored = std::decay_t<Handler>;
  auto stored = std::make_unique<Stored>(std::forward<Handler>(handler));
  const uint64_t call = vanto_call_async(
      connection, message, timeout,
      [](vanto_object_t reply, void* context) noexcept {
        const std::unique_ptr<Stored> owned(static_cast<Stored*>(context));
        (*owned)(reply);
      },
      stored.get());
  if (call != 0) static_cast<void>(stored.release());  // the reply function owns it now, and may have ended it already
  return call;
}
#endif
