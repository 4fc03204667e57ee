/* SPDX-License-Identifier: Apache-2.0
 *
 * A host in C: the interface must be usable without C++. */
#include "HostInC.h"

#include <dlfcn.h>
#include <string.h>

#include "QorPlugin.h"

/* What a host declares for the nine names is what the header says. */
#define HAS_TYPE(function, type) _Static_assert(_Generic(&(function), type : 1, default : 0), #function)

HAS_TYPE(createAlgo, void (*)(void));
HAS_TYPE(clearAlgo, void (*)(void));
HAS_TYPE(processZelta, int32_t (*)(const void*, int32_t, int32_t, int32_t*));
HAS_TYPE(getRequiredOutputSize, int32_t (*)(int32_t));
HAS_TYPE(packResult, int32_t (*)(void*, int));
HAS_TYPE(getAlgoVersion, void (*)(struct AlgoVersion*));
HAS_TYPE(lastMessage, const char* (*)(void));
HAS_TYPE(prettyName, const char* (*)(void));
HAS_TYPE(lastExceptionMessage, const char* (*)(void));

typedef void (*Procedure)(void);
typedef void (*GetVersion)(AlgoVersion*);

/* ISO C has no cast from the address that dlsym gives to a function. */
static int find(void* library, const char* name, void* function) {
    void* const address = dlsym(library, name);
    memcpy(function, &address, sizeof address);
    return address != NULL;
}

int versionFromC(const char* file, uint32_t version[3]) {
    void* const library = dlopen(file, RTLD_NOW | RTLD_LOCAL);
    Procedure create = NULL;
    Procedure clear = NULL;
    GetVersion getVersion = NULL;
    AlgoVersion found = {0, 0, 0};
    if (library == NULL) {
        return 1;
    }
    if (!find(library, "createAlgo", &create) || !find(library, "clearAlgo", &clear) ||
        !find(library, "getAlgoVersion", &getVersion)) {
        dlclose(library);
        return 1;
    }
    create();
    getVersion(&found);
    clear();
    dlclose(library);
    version[0] = found.major;
    version[1] = found.minor;
    version[2] = found.patch;
    return 0;
}
