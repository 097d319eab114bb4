#pragma once

// The result codes of a media graph, by their published values. IQDVideoMixer gives some of them
// too.

#include <qdvideomixer/object.h>

inline constexpr HRESULT VFW_S_NO_MORE_ITEMS = HResult(0x00040103);
inline constexpr HRESULT VFW_S_DUPLICATE_NAME = HResult(0x0004022D);
inline constexpr HRESULT VFW_S_STATE_INTERMEDIATE = HResult(0x00040237);
inline constexpr HRESULT VFW_S_CANT_CUE = HResult(0x00040268);
inline constexpr HRESULT VFW_S_NO_STOP_TIME = HResult(0x00040270);
inline constexpr HRESULT VFW_E_INVALIDMEDIATYPE = HResult(0x80040200);
inline constexpr HRESULT VFW_E_INVALIDSUBTYPE = HResult(0x80040201);
inline constexpr HRESULT VFW_E_ENUM_OUT_OF_SYNC = HResult(0x80040203);
inline constexpr HRESULT VFW_E_ALREADY_CONNECTED = HResult(0x80040204);
inline constexpr HRESULT VFW_E_NO_TYPES = HResult(0x80040206);
inline constexpr HRESULT VFW_E_NO_ACCEPTABLE_TYPES = HResult(0x80040207);
inline constexpr HRESULT VFW_E_INVALID_DIRECTION = HResult(0x80040208);
inline constexpr HRESULT VFW_E_NOT_CONNECTED = HResult(0x80040209);
inline constexpr HRESULT VFW_E_NO_ALLOCATOR = HResult(0x8004020A);
inline constexpr HRESULT VFW_E_RUNTIME_ERROR = HResult(0x8004020B);
inline constexpr HRESULT VFW_E_BUFFER_NOTSET = HResult(0x8004020C);
inline constexpr HRESULT VFW_E_BUFFER_OVERFLOW = HResult(0x8004020D);
inline constexpr HRESULT VFW_E_BADALIGN = HResult(0x8004020E);
inline constexpr HRESULT VFW_E_ALREADY_COMMITTED = HResult(0x8004020F);
inline constexpr HRESULT VFW_E_BUFFERS_OUTSTANDING = HResult(0x80040210);
inline constexpr HRESULT VFW_E_NOT_COMMITTED = HResult(0x80040211);
inline constexpr HRESULT VFW_E_SIZENOTSET = HResult(0x80040212);
inline constexpr HRESULT VFW_E_NO_CLOCK = HResult(0x80040213);
inline constexpr HRESULT VFW_E_NO_INTERFACE = HResult(0x80040215);
inline constexpr HRESULT VFW_E_NOT_FOUND = HResult(0x80040216);
inline constexpr HRESULT VFW_E_CANNOT_CONNECT = HResult(0x80040217);
inline constexpr HRESULT VFW_E_CHANGING_FORMAT = HResult(0x80040219);
inline constexpr HRESULT VFW_E_NOT_SAMPLE_CONNECTION = HResult(0x8004021C);
inline constexpr HRESULT VFW_E_STATE_CHANGED = HResult(0x80040223);
inline constexpr HRESULT VFW_E_NOT_STOPPED = HResult(0x80040224);
inline constexpr HRESULT VFW_E_NOT_PAUSED = HResult(0x80040225);
inline constexpr HRESULT VFW_E_NOT_RUNNING = HResult(0x80040226);
inline constexpr HRESULT VFW_E_WRONG_STATE = HResult(0x80040227);
inline constexpr HRESULT VFW_E_CIRCULAR_GRAPH = HResult(0x80040228);
inline constexpr HRESULT VFW_E_TYPE_NOT_ACCEPTED = HResult(0x8004022A);
inline constexpr HRESULT VFW_E_SAMPLE_REJECTED = HResult(0x8004022B);
inline constexpr HRESULT VFW_E_DUPLICATE_NAME = HResult(0x8004022D);
inline constexpr HRESULT VFW_E_TIMEOUT = HResult(0x8004022E);
inline constexpr HRESULT VFW_E_INVALID_CLSID = HResult(0x80040247);
inline constexpr HRESULT VFW_E_INVALID_MEDIA_TYPE = HResult(0x80040248);
inline constexpr HRESULT VFW_E_SAMPLE_TIME_NOT_SET = HResult(0x80040249);
inline constexpr HRESULT VFW_E_MEDIA_TIME_NOT_SET = HResult(0x80040251);
inline constexpr HRESULT VFW_E_NOT_IN_GRAPH = HResult(0x8004025F);
