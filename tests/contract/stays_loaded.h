#ifndef BIZ_TESTS_CONTRACT_STAYS_LOADED_H
#define BIZ_TESTS_CONTRACT_STAYS_LOADED_H

#include <dlfcn.h>
#include <elf.h>
#include <link.h>

/** Whether a loaded library asks never to be unloaded: NODELETE in the FLAGS_1 of its dynamic section. */
inline bool staysLoaded(const char *library)
{
    void *const handle = dlopen(library, RTLD_LAZY | RTLD_NOLOAD);
    link_map *map = nullptr;
    if (handle == nullptr || dlinfo(handle, RTLD_DI_LINKMAP, &map) != 0) {
        return false;
    }
    bool isAsked = false;
    for (const ElfW(Dyn) *entry = map->l_ld; entry->d_tag != DT_NULL; ++entry) {
        isAsked = isAsked || (entry->d_tag == DT_FLAGS_1 && (entry->d_un.d_val & DF_1_NODELETE) != 0);
    }
    dlclose(handle);
    return isAsked;
}

#endif
