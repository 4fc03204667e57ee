/* SPDX-License-Identifier: Apache-2.0
 *
 * The plug-in interface: nine functions that a host finds by their plain names with dlsym. One algorithm
 * exists per process. The host calls one function at a time. Usual order: createAlgo; for every packet
 * processZelta, getRequiredOutputSize and, if that is above 0, packResult with a buffer of exactly that size;
 * at the end clearAlgo.
 *
 * All but createAlgo, clearAlgo and lastExceptionMessage need an algorithm; calling them before createAlgo is
 * a fault of the host: they then do nothing and return 0, packResult -1, or an empty text.
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

/** Creates the algorithm. An existing one is destroyed. */
QOR_PLUGIN_EXPORT void createAlgo(void);

/** Destroys the algorithm, if there is one, and forgets the layouts of earlier packets. */
QOR_PLUGIN_EXPORT void clearAlgo(void);

/**
 * Takes a packet of `dataPacketBytes` bytes; they are used during the call only. `fromCustomPin` 1: the
 * packet holds a customization that takes precedence from then on. No exception leaves this function: on a
 * failure `*exceptionOccured` is 1, lastExceptionMessage tells the reason, and the result is 0. Otherwise
 * `*exceptionOccured` is 0, and the result is 1 if this packet initialised the pipeline, else 0; a finished
 * frame shows in the channels of the result.
 */
QOR_PLUGIN_EXPORT int32_t processZelta(const void* dataPacket, int32_t dataPacketBytes, int32_t fromCustomPin,
                                       int32_t* exceptionOccured);

/** Chooses the chunks of the result (`isPIL` 1: the short form). Returns the bytes that they take, 0 without
 * chunks. */
QOR_PLUGIN_EXPORT int32_t getRequiredOutputSize(int32_t isPIL);

/**
 * Writes the result chosen last. `dataPacketSize` must be the required size, else a std::runtime_error
 * reaches the host. Returns 0, or -1 if nothing was written. The choice holds until the next processZelta,
 * even if that call fails. From then on the required size is that of a packet without chunks.
 */
QOR_PLUGIN_EXPORT int32_t packResult(void* dataPacket, int dataPacketSize);

/** Fills `version`; without an algorithm it stays as it is. */
QOR_PLUGIN_EXPORT void getAlgoVersion(struct AlgoVersion* version);

/* Texts are valid until they change. */
QOR_PLUGIN_EXPORT const char* lastMessage(void);
QOR_PLUGIN_EXPORT const char* prettyName(void);

/** Text of the last failure; a success leaves it as it is. */
QOR_PLUGIN_EXPORT const char* lastExceptionMessage(void);

#ifdef __cplusplus
}
#endif

#endif
