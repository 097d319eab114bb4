#pragma once

// Classes by identifier: how an object is made of which only the class identifier is known.

#include <qdvideomixer/object.h>

namespace qdvm {

// Makes an object and hands out the interface asked for, with one reference.
using ClassFactory = HRESULT (*)(REFIID iid, void** object);

// Adds a class, or replaces the factory of one. S_FALSE if there was one before. E_POINTER for a
// null factory.
HRESULT RegisterClass(REFCLSID classId, ClassFactory factory);

// S_FALSE if the class isn't there.
HRESULT UnregisterClass(REFCLSID classId);

// An object of the class. E_POINTER, with nothing done, for a null object; REGDB_E_CLASSNOTREG for
// a class that isn't there; otherwise what the factory gives. The graph and the clock of this room
// are always there. Any thread; the factory runs without a lock held.
HRESULT CreateInstance(REFCLSID classId, REFIID iid, void** object);

inline constexpr CLSID CLSID_FilterGraph = {
    0xE436EBB3, 0x524F, 0x11CE, {0x9F, 0x53, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70}};
inline constexpr CLSID CLSID_SystemClock = {
    0xE436EBB1, 0x524F, 0x11CE, {0x9F, 0x53, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70}};

}  // namespace qdvm
