#pragma once

// Where objects of this library come from. Each gives the new object with one reference, or null
// and E_POINTER for a null out pointer, E_NOINTERFACE if the object lacks the interface,
// E_OUTOFMEMORY if memory is short. All can be called from any thread.

#include <qdvideomixer/object.h>

namespace qdvm {

// A mixer: a filter with one free input pin and one output pin. Ask for IBaseFilter to put it into
// a graph, for IQDVideoMixer to drive it, for IQDVideoMixerStatus to see how its streams do, for
// IQDVideoMixerFrames to change things between two frames, IQDVideoMixerChromaKey to set keys,
// IQDVideoMixerScene for layouts with names, IQProps to keep named values, IQPersist and
// IPersistStream to save and load its setup.
HRESULT CreateQDVideoMixer(REFIID iid, void** object);

// An empty in-process filter graph: IFilterGraph2, IMediaControl and IMediaEventSink. It owns the
// filters that are added to it; when the last reference goes, it stops them, breaks their
// connections and lets them go.
HRESULT CreateFilterGraph(REFIID iid, void** object);

// A clock on the system's steady time: IReferenceClock. It never runs backwards.
HRESULT CreateSystemClock(REFIID iid, void** object);

// An empty stream of bytes in memory that grows as it is written: IStream (byte_stream.h).
HRESULT CreateByteStream(REFIID iid, void** object);

}  // namespace qdvm
