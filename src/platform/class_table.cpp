#include "platform/class_table.h"

#include <qdvideomixer/create.h>

#include <algorithm>
#include <mutex>
#include <vector>

namespace qdvm {

namespace {

struct ClassEntry {
    CLSID classId;
    ClassFactory factory;
};

struct ClassTable {
    std::mutex mutex;
    std::vector<ClassEntry> entries{{CLSID_FilterGraph, CreateFilterGraph},
                                    {CLSID_SystemClock, CreateSystemClock}};

    auto Find(REFCLSID classId) {
        return std::find_if(entries.begin(), entries.end(),
                            [&](const ClassEntry& entry) { return entry.classId == classId; });
    }
};

ClassTable& Table() {
    static ClassTable& table = *new ClassTable;
    return table;
}

}  // namespace

HRESULT RegisterClass(REFCLSID classId, ClassFactory factory) {
    if (factory == nullptr) {
        return E_POINTER;
    }
    ClassTable& table = Table();
    const std::lock_guard guard(table.mutex);
    const auto entry = table.Find(classId);
    if (entry != table.entries.end()) {
        entry->factory = factory;
        return S_FALSE;
    }
    table.entries.push_back({classId, factory});
    return S_OK;
}

HRESULT UnregisterClass(REFCLSID classId) {
    ClassTable& table = Table();
    const std::lock_guard guard(table.mutex);
    const auto entry = table.Find(classId);
    if (entry == table.entries.end()) {
        return S_FALSE;
    }
    table.entries.erase(entry);
    return S_OK;
}

HRESULT CreateInstance(REFCLSID classId, REFIID iid, void** object) {
    if (object == nullptr) {
        return E_POINTER;
    }
    *object = nullptr;
    ClassFactory factory = nullptr;
    {
        ClassTable& table = Table();
        const std::lock_guard guard(table.mutex);
        const auto entry = table.Find(classId);
        if (entry == table.entries.end()) {
            return REGDB_E_CLASSNOTREG;
        }
        factory = entry->factory;
    }
    return factory(iid, object);
}

}  // namespace qdvm
