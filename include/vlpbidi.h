/*
 * VlpBidi: bi-directional communication with printers.
 *
 * A status monitor loads VlpBidi.dll, calls its one export once and from then on
 * works through the table of seven operations that it hands out.
 *
 * Conventions
 *
 *  1. Names of printers are narrow texts in the ANSI code page, with a terminator
 *     within the first 260 bytes. A text without one counts as empty.
 *  2. Every operation returns a signed 32-bit number. Zero and above is success,
 *     what it counts stands with each operation; below zero it is one of the
 *     VLPER_ codes and nothing else.
 *  3. All request work is done on the calling thread. An operation returns when
 *     its work is finished, however long the spooler takes; only exchanges with a
 *     vendor-class printer's own device have limits. It also waits for other callers
 *     of one printer.
 *  4. Device IDs, status data and replies are not returned by the operation that
 *     asks for them. They lie in one queue per process, in order of arrival, and
 *     GetResult takes them, told apart by the caller's requestId. Keep one thread
 *     in GetResult, and only one.
 *  5. Buffers belong to the caller, in both directions, and are used only until
 *     the call returns. The table belongs to the library and stays valid until the
 *     library is unloaded.
 *  6. Any operation may be called from any thread at any time, GetResult apart.
 *     No operation may be called from within a module's entry (DllMain).
 *  7. Sizes are in bytes. Numbers are little-endian.
 *  8. The table is packed on 4-byte boundaries, so its pointers are not 8-aligned.
 *  9. Device IDs, channels and status are kept for a while and handed out again; how
 *     long stands in the printer model's profile (30 and 5 seconds as a rule).
 * 10. Every operation but Terminate can give VLPER_MEMORY, and VLPER_NOTSUPPORT where
 *     the library itself could not be set up.
 * 11. Call Terminate before unloading the library. A library that still has a
 *     printer's worker thread stays loaded.
 */
#ifndef VLPBIDI_H
#define VLPBIDI_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Result codes below zero. */
#define VLPER_NOTSUPPORT (-1) /* this printer, port or name can't be served */
#define VLPER_NOTCONNECT (-2) /* the printer has no connection to talk over */
#define VLPER_NOCHANNEL (-3)  /* the printer has no such channel, or not for this use */
#define VLPER_BUFFERSIZE (-5) /* the buffer is too small, or the printer's answer too large */
#define VLPER_TERMINATE (-6)  /* Terminate was called */
#define VLPER_PARAM (-7)      /* a required argument is null or zero, or data is unusable */
#define VLPER_MEMORY (-8)     /* out of memory, or the result couldn't be queued */
#define VLPER_SEND (-9)       /* communication with the printer failed */
#define VLPER_BUSY (-12)      /* another user kept the device locked until the wait ended */
#define VLPER_NOENTRY (-19)   /* the printer has no channel; the name is written all the same */

/* Channels of a printer. A profile may list numbers beyond these. */
typedef uint32_t ChannelKind;

#define ChnlKindD4 0x10000005u       /* D4 transport */
#define ChnlKindZrdPages 0x10000006u /* page language, several pages */
#define ChnlKindQpl 0x10010002u      /* job language */
#define ChnlKindBdc 0x10010003u      /* status and command channel */
#define ChnlKindZrdPage 0x10010004u  /* page language */
#define ChnlKindEnd4 0x10010008u     /* bears fax */
#define ChnlKindLabel 0x10010009u    /* label printer */

/* Bits of a channel's mode word. The other bits are handed through unread. */
#define VLP_MODE_COMMAND 0x0003u /* both set: takes commands */
#define VLP_MODE_STATUS 0x0004u  /* answers status requests */
#define VLP_MODE_SHARED 0xE000u  /* D4 channel of a shared vendor-class printer */

/*
 * GetConnectInf: which channels has the printer?
 *
 * prefixedName  in: "UFName:" followed by the printer's name, 259 bytes together.
 * nameOut       out: the name without the prefix, with its terminator; room for
 *               maxNameSize bytes.
 * entries       out: room for maxConnectEntries slots of 8 bytes, any alignment;
 *               low half the ChannelKind, high half the mode word.
 *
 * Returns the number of entries. VLPER_NOENTRY writes the name too; with any other
 * negative code nameOut is untouched. Asks the spooler for the port each time, and the
 * printer unless what is known of it is young enough.
 */
typedef int32_t (*VlpGetConnectInf)(const char* prefixedName, char* nameOut, uint64_t* entries);

/*
 * GetDeviceID: queues the printer's device ID, up to 1024 bytes as the printer
 * gave it, with no terminator. requestId is any number but 0 and comes back with
 * the result. Returns 0. Asks the printer unless what is known is young enough.
 */
typedef int32_t (*VlpGetDeviceID)(uint32_t requestId, const char* name);

/*
 * SendCommand: sends command, length bytes, over the channel and queues the reply.
 * An empty reply queues nothing. Returns length; a length above 0x7FFFFFFF is refused
 * with VLPER_PARAM. VLPER_MEMORY may come after the printer has taken the command; the
 * reply may then be kept and handed out when the same bytes are sent again.
 */
typedef int32_t (*VlpSendCommand)(uint32_t requestId, const char* name, ChannelKind kind,
                                  const uint8_t* command, uint32_t length);

/*
 * GetStatus: queues one status item of the printer, whole, with its head. Returns 0.
 * Asks the printer unless what is known is young enough.
 */
typedef int32_t (*VlpGetStatus)(uint32_t requestId, const char* name, ChannelKind kind);

/*
 * GetResult: takes the first result of the queue; waits for one as long as it takes.
 *
 * requestId  out: the number given with the request.
 * buffer     out: the data; may be null for a result without data.
 * size       in: bytes at buffer. Out: bytes stored, or the size needed.
 *
 * Returns the number of bytes stored. VLPER_BUFFERSIZE leaves the result in the
 * queue, so that the call can be made again with a larger buffer; *size 0 asks for the
 * size. VLPER_PARAM for a null requestId or size, or a null buffer for a result with
 * data, which stays. VLPER_TERMINATE ends the wait at once when Terminate is called; a
 * result that was copied in that very moment is lost.
 */
typedef int32_t (*VlpGetResult)(uint32_t* requestId, uint8_t* buffer, uint32_t* size);

/*
 * Terminate: wakes GetResult, which gives VLPER_TERMINATE from then on, and stops
 * the printers' worker threads, waiting for spooler calls under way. It can't be
 * undone but by unloading. Returns 0.
 */
typedef int32_t (*VlpTerminate)(void);

/*
 * SendThroughCommand: sends command as it stands and takes no reply. requestId must
 * not be 0 and isn't used further. Returns length.
 */
typedef int32_t (*VlpSendThroughCommand)(uint32_t requestId, const char* name, ChannelKind kind,
                                         const uint8_t* command, uint32_t length);

#pragma pack(push, 4)
typedef struct ProviderTable {
  uint32_t maxNameSize;       /* 260: largest name buffer, terminator included */
  uint32_t maxConnectEntries; /* 11: largest number of entries of GetConnectInf */
  uint32_t operationCount;    /* 7: operations that follow */
  VlpGetConnectInf GetConnectInf;
  VlpGetDeviceID GetDeviceID;
  VlpSendCommand SendCommand;
  VlpGetStatus GetStatus;
  VlpGetResult GetResult;
  VlpTerminate Terminate;
  VlpSendThroughCommand SendThroughCommand;
} ProviderTable;
#pragma pack(pop)

/*
 * The one export. Sets *table to the library's table and returns 0; a null argument
 * gives VLPER_PARAM. Can be called any number of times and gives the same address.
 * VLPER_NOTSUPPORT, with *table untouched, if the library could not be set up.
 */
int32_t VLPGetProviderInfo(const ProviderTable** table);

typedef int32_t (*VlpGetProviderInfoCall)(const ProviderTable** table);

#ifdef __cplusplus
}
#endif

#endif
