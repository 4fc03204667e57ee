/* SPDX-License-Identifier: Apache-2.0
 *
 * A host of the plug-in in C11: opens the shared object, replays a recording and prints a line for each
 * frame.
 *
 *   cc -std=c11 host.c $(pkg-config --cflags qor) -o host
 *   ./host $(pkg-config --variable=plugin qor) room.zelta
 *
 * Exit code 0: all packets were taken and there was a frame; 1: something failed, the reason stands on
 * standard error; 2: wrong arguments.
 */
#include <dlfcn.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "QorDefinitions.h"
#include "QorPlugin.h"

/* ------------------------------------------------------------------------------------------------------------------
 * The plug-in */

typedef struct Plugin {
    void* library;
    void (*createAlgo)(void);
    void (*clearAlgo)(void);
    int32_t (*processZelta)(const void*, int32_t, int32_t, int32_t*);
    int32_t (*getRequiredOutputSize)(int32_t);
    int32_t (*packResult)(void*, int);
    const char* (*prettyName)(void);
    const char* (*lastExceptionMessage)(void);
    void (*getAlgoVersion)(struct AlgoVersion*);
    void (*resultDefinition)(const void**, zelta_size_t*);
} Plugin;

/* ISO C has no cast from the address that dlsym gives to a function. */
static int find(const Plugin* plugin, const char* name, void* function) {
    void* const address = dlsym(plugin->library, name);
    memcpy(function, &address, sizeof address);
    if (address == NULL) {
        fprintf(stderr, "The plug-in has no function %s.\n", name);
    }
    return address != NULL;
}

static int openPlugin(Plugin* plugin, const char* path) {
    plugin->library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (plugin->library == NULL) {
        fprintf(stderr, "Cannot open the plug-in: %s\n", dlerror());
        return 0;
    }
    if (find(plugin, "createAlgo", &plugin->createAlgo) && find(plugin, "clearAlgo", &plugin->clearAlgo) &&
        find(plugin, "processZelta", &plugin->processZelta) &&
        find(plugin, "getRequiredOutputSize", &plugin->getRequiredOutputSize) &&
        find(plugin, "packResult", &plugin->packResult) && find(plugin, "prettyName", &plugin->prettyName) &&
        find(plugin, "lastExceptionMessage", &plugin->lastExceptionMessage) &&
        find(plugin, "getAlgoVersion", &plugin->getAlgoVersion) &&
        find(plugin, "zeltaGet_QorDistanceImageIFOutput", &plugin->resultDefinition)) {
        return 1;
    }
    dlclose(plugin->library);
    return 0;
}

/* ------------------------------------------------------------------------------------------------------------------
 * Packets: a number of chunks; for each of them its channel, the sizes of definition and record, and both
 * between marks. docs/packets-and-definitions.md has the table. */

enum { CHUNK_HEADER_BYTES = 16, MARK_BYTES = 4, MOST_CHUNKS = 1024 };

/* Bytes that grow as a file gives them: a size that a damaged file claims is never allocated in advance. */
typedef struct Bytes {
    unsigned char* data;
    size_t size;
    size_t capacity;
} Bytes;

static int32_t wordAt(const unsigned char* bytes) {
    int32_t word = 0;
    memcpy(&word, bytes, sizeof word);
    return word;
}

static int reserve(Bytes* bytes, size_t capacity) {
    unsigned char* data = NULL;
    if (capacity <= bytes->capacity) {
        return 1;
    }
    data = realloc(bytes->data, capacity);
    if (data == NULL) {
        fprintf(stderr, "There is not enough memory.\n");
        return 0;
    }
    bytes->data = data;
    bytes->capacity = capacity;
    return 1;
}

static int append(Bytes* bytes, FILE* file, size_t count) {
    while (count > 0) {
        const size_t piece = count < 65536 ? count : 65536;
        if (bytes->size + piece > INT32_MAX) {
            fprintf(stderr, "A packet of the recording is larger than 2 GiB.\n");
            return 0;
        }
        if (bytes->size + piece > bytes->capacity && !reserve(bytes, 2 * (bytes->size + piece))) {
            return 0;
        }
        if (fread(bytes->data + bytes->size, 1, piece, file) != piece) {
            fprintf(stderr, ferror(file) ? "The recording cannot be read.\n"
                                         : "The recording ends inside of a packet.\n");
            return 0;
        }
        bytes->size += piece;
        count -= piece;
    }
    return 1;
}

/* Reads the next packet: 1, 0 at the end of the file, -1 after an error. */
static int readPacket(Bytes* packet, FILE* file) {
    const int first = fgetc(file);
    int32_t chunks = 0;
    packet->size = 0;
    if (first == EOF) {
        if (ferror(file)) {
            fprintf(stderr, "The recording cannot be read.\n");
            return -1;
        }
        return 0;
    }
    ungetc(first, file);
    if (!append(packet, file, sizeof chunks)) {
        return -1;
    }
    chunks = wordAt(packet->data);
    if (chunks < 0 || chunks > MOST_CHUNKS) {
        fprintf(stderr, "This is no recording, or it is damaged.\n");
        return -1;
    }
    for (; chunks > 0; --chunks) {
        const size_t header = packet->size;
        int32_t definition = 0;
        int32_t record = 0;
        if (!append(packet, file, CHUNK_HEADER_BYTES)) {
            return -1;
        }
        definition = wordAt(packet->data + header + 4);
        record = wordAt(packet->data + header + 8);
        if (definition <= 0 || record <= 0) {
            fprintf(stderr, "This is no recording, or it is damaged.\n");
            return -1;
        }
        if (!append(packet, file, (size_t)definition + MARK_BYTES) ||
            !append(packet, file, (size_t)record + MARK_BYTES)) {
            return -1;
        }
    }
    return 1;
}

/* One chunk of a packet that the plug-in made. */
typedef struct Chunk {
    const unsigned char* definition;
    size_t definitionBytes;
    const unsigned char* record;
    size_t recordBytes;
} Chunk;

static int findChunk(const Bytes* packet, int32_t channel, Chunk* found) {
    const unsigned char* at = packet->data + sizeof(int32_t);
    int32_t chunks = wordAt(packet->data);
    for (; chunks > 0; --chunks) {
        found->definitionBytes = (size_t)wordAt(at + 4);
        found->recordBytes = (size_t)wordAt(at + 8);
        found->definition = at + CHUNK_HEADER_BYTES;
        found->record = found->definition + found->definitionBytes + MARK_BYTES;
        if (wordAt(at) == channel) {
            return 1;
        }
        at = found->record + found->recordBytes + MARK_BYTES;
    }
    return 0;
}

/* ------------------------------------------------------------------------------------------------------------------
 * Frames */

/* 1.8 MB: too large for the stack of most programs. */
static QorDistanceImageIFOutput frame;

/* The record has the layout of the header if its definition is that of the plug-in. */
static int copyResult(const Plugin* plugin, const Chunk* chunk) {
    const void* definition = NULL;
    zelta_size_t size = 0;
    plugin->resultDefinition(&definition, &size);
    if (chunk->recordBytes != sizeof frame || chunk->definitionBytes != size ||
        memcmp(chunk->definition, definition, size) != 0) {
        fprintf(stderr, "The plug-in has another layout of the results than this host was compiled with.\n");
        return 0;
    }
    memcpy(&frame, chunk->record, sizeof frame); /* a packet has no alignment */
    return 1;
}

static void printFrame(void) {
    const int middle = QOR_IMAGE_HEIGHT / 2 * QOR_IMAGE_WIDTH + QOR_IMAGE_WIDTH / 2;
    double sum = 0.0;
    int valid = 0;
    int pixel = 0;
    for (pixel = 0; pixel < QOR_PIXEL_COUNT; ++pixel) {
        if ((frame.confidence[pixel] & QOR_CONFIDENCE_INVALID) == 0 && frame.distance[pixel] > 0.0F) {
            sum += (double)frame.distance[pixel];
            ++valid;
        }
    }
    printf("frame %u: %.1f %% of the pixels valid, mean distance %.3f m, in the middle %.3f m\n",
           (unsigned)frame.frameCounter, 100.0 * valid / QOR_PIXEL_COUNT, valid > 0 ? sum / valid : 0.0,
           (double)frame.distance[middle]);
}

/* Fetches the result of the latest packet. Adds 1 to `frames` if it holds one. 0 after an error. */
static int fetchResult(const Plugin* plugin, Bytes* result, int* frames) {
    Chunk chunk = {NULL, 0, NULL, 0};
    const int32_t size = plugin->getRequiredOutputSize(1);
    if (size <= 0) {
        return 1; /* nothing to fetch */
    }
    if (!reserve(result, (size_t)size)) {
        return 0;
    }
    result->size = (size_t)size;
    if (plugin->packResult(result->data, size) != 0) {
        fprintf(stderr, "The plug-in does not give its result.\n");
        return 0;
    }
    if (!findChunk(result, QOR_CHANNEL_RESULT, &chunk)) {
        return 1; /* no frame is finished */
    }
    if (!copyResult(plugin, &chunk)) {
        return 0;
    }
    printFrame();
    ++*frames;
    return 1;
}

/* Feeds every packet of the file, once and in order. A packet that the plug-in refuses is told and left out.
 */
static int replay(const Plugin* plugin, FILE* file) {
    Bytes packet = {NULL, 0, 0};
    Bytes result = {NULL, 0, 0};
    int good = 1;
    int frames = 0;
    int number = 0;
    int state = 0;
    while ((state = readPacket(&packet, file)) == 1) {
        int32_t failed = 0;
        plugin->processZelta(packet.data, (int32_t)packet.size, 0, &failed);
        if (failed != 0) {
            fprintf(stderr, "Packet %d is refused: %s\n", number, plugin->lastExceptionMessage());
            good = 0;
        } else if (!fetchResult(plugin, &result, &frames)) {
            good = 0;
            break;
        }
        ++number;
    }
    if (state == 0 && frames == 0) {
        fprintf(stderr, "There is no frame in the recording.\n");
    }
    free(packet.data);
    free(result.data);
    return good && state == 0 && frames > 0;
}

int main(int argc, char** argv) {
    Plugin plugin;
    AlgoVersion version = {0, 0, 0};
    FILE* file = NULL;
    int good = 0;
    if (argc != 3) {
        fprintf(stderr, "usage: host PLUGIN RECORDING\n");
        return 2;
    }
    file = fopen(argv[2], "rb");
    if (file == NULL) {
        perror(argv[2]);
        return 1;
    }
    if (!openPlugin(&plugin, argv[1])) {
        fclose(file);
        return 1;
    }
    plugin.createAlgo();
    plugin.getAlgoVersion(&version);
    printf("%s %u.%u.%u\n", plugin.prettyName(), (unsigned)version.major, (unsigned)version.minor,
           (unsigned)version.patch);
    good = replay(&plugin, file);
    plugin.clearAlgo();
    dlclose(plugin.library);
    fclose(file);
    return good ? 0 : 1;
}
