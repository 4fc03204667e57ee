/* SPDX-License-Identifier: Apache-2.0
 *
 * The plug-in interface: nine functions that a host finds by their plain names with dlsym. One algorithm
 * exists per process.
 *
 * Order. createAlgo; then for every packet processZelta, getRequiredOutputSize and, if that is above 0,
 * packResult with a buffer of that size; at the end clearAlgo. The plug-in is in one of three states:
 *
 *   none    no algorithm: before createAlgo and after clearAlgo
 *   idle    an algorithm, and no result is chosen
 *   chosen  getRequiredOutputSize has chosen the chunks of a result; packResult may fetch them, more than
 * once
 *
 *   call                   none        idle                         chosen
 *   createAlgo             -> idle     -> idle, anew                -> idle, anew
 *   clearAlgo              stays       -> none                      -> none
 *   processZelta           0, stays    stays                        -> idle
 *   getRequiredOutputSize  0, stays    above 0: -> chosen           above 0: stays, chosen anew
 *                                      0: stays                     0: -> idle
 *   packResult             -1, stays   refused, stays               0, stays; another size: refused, stays
 *   getAlgoVersion         no change   the version                  the version
 *   lastMessage            empty       text                         text
 *   prettyName             empty       text                         text
 *   lastExceptionMessage   text        text                         text
 *
 * A processZelta that fails leads to the same state as one that succeeds. "Refused" is an exception of the
 * type std::runtime_error that reaches the host, because the size is not the required one: a host in C hands
 * packResult exactly what getRequiredOutputSize returned just before, and no such exception occurs. (Of
 * nothing chosen, a packet without chunks can be fetched: four zero bytes.)
 *
 * Threads. The host calls one function at a time. It may call from different threads, if each call happens
 * after the end of the one before (a lock, or one thread of its own, sees to that). The functions start no
 * threads; they return when their work is done. A call may take as long as the algorithm takes for a frame;
 * none waits for anything else.
 *
 * Memory. What the host hands over stays the host's: packets are read during the call, buffers are written
 * during the call. What the plug-in returns (texts) stays the plug-in's. Nothing is to be freed across the
 * border.
 */
#ifndef QOR_PLUGIN_H
#define QOR_PLUGIN_H

#include <stdint.h>

#if defined(_WIN32)
#define QOR_PLUGIN_EXPORT __declspec(dllexport)
#else
#define QOR_PLUGIN_EXPORT __attribute__((visibility("default")))
#endif

/* The algorithm's own sources know the version as one of their described records. */
#ifndef AL_DESCRIBE
/** Version of the algorithm. */
typedef struct AlgoVersion {
    uint32_t major;
    uint32_t minor;
    uint32_t patch;
} AlgoVersion;
#endif

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Creates the algorithm. It owns all its memory until clearAlgo. An existing one is destroyed with its
 * calibration, and texts that it returned are gone. Any state. The only failure is want of memory: a
 * std::bad_alloc reaches the host, and the state is as before.
 */
QOR_PLUGIN_EXPORT void createAlgo(void);

/**
 * Destroys the algorithm, if there is one, and forgets the layouts of earlier packets; the memory of both is
 * given back. Texts of lastMessage and prettyName are gone; that of lastExceptionMessage stays. Any state.
 */
QOR_PLUGIN_EXPORT void clearAlgo(void);

/**
 * Takes a packet of `dataPacketBytes` bytes at `dataPacket`, in any alignment. They are the host's, are not
 * changed, and are used during the call only. `fromCustomPin` 1: the packet holds a customization that takes
 * precedence from then on; any other value counts as 0. `exceptionOccured` must not be null; it is written by
 * every call.
 *
 * No exception leaves this function. On a failure `*exceptionOccured` is 1, lastExceptionMessage tells the
 * reason, and the result is 0: the packet is lost, the algorithm lives, and the host goes on with the next
 * packet. Otherwise
 * `*exceptionOccured` is 0, and the result is 1 if this packet initialised the pipeline, else 0. Neither says
 * that a frame is finished: that shows in the channels of the result.
 *
 * An earlier result can no longer be fetched, whether the call fails or not. Without an algorithm the packet
 * is ignored: 0, and `*exceptionOccured` 0.
 */
QOR_PLUGIN_EXPORT int32_t processZelta(const void* dataPacket, int32_t dataPacketBytes, int32_t fromCustomPin,
                                       int32_t* exceptionOccured);

/**
 * Chooses the chunks of the result (`isPIL` 1: the short form; any other value counts as 0) and returns the
 * bytes that a packet of them takes, 0 without chunks or without an algorithm. May be called again with
 * another form: the last choice holds. In the short form the answer to a calibration can be chosen once. A
 * packet that failed may have an answer, too: that to a calibration tells what is wrong with it. Want of
 * memory is a std::bad_alloc that reaches the host.
 */
QOR_PLUGIN_EXPORT int32_t getRequiredOutputSize(int32_t isPIL);

/**
 * Writes the result chosen last into the host's `dataPacket`, which has at least `dataPacketSize` bytes and
 * is used during the call only. `dataPacketSize` must be the required size, else a std::runtime_error reaches
 * the host and nothing is written. Returns 0, or -1 if there is no algorithm; then nothing is written. The
 * choice holds until the next processZelta, even if that call fails. From then on the required size is that
 * of a packet without chunks.
 */
QOR_PLUGIN_EXPORT int32_t packResult(void* dataPacket, int dataPacketSize);

/** Fills the host's `version`, which must not be null; without an algorithm it stays as it is. */
QOR_PLUGIN_EXPORT void getAlgoVersion(struct AlgoVersion* version);

/*
 * The texts end with a zero byte, are never null and belong to the plug-in: a host that needs one later
 * copies it.
 */

/** What the algorithm did last, for a log; valid until the next processZelta, createAlgo or clearAlgo. Empty
 * at first. */
QOR_PLUGIN_EXPORT const char* lastMessage(void);

/** Name of the algorithm; valid until the next createAlgo or clearAlgo. Empty without an algorithm. */
QOR_PLUGIN_EXPORT const char* prettyName(void);

/** Reason of the last failure of processZelta; a success leaves it as it is. Valid until the next
 * processZelta. Empty as long as none has failed; may be asked for in any state. */
QOR_PLUGIN_EXPORT const char* lastExceptionMessage(void);

#ifdef __cplusplus
}
#endif

#endif
