#pragma once

// From an interface to its identifier and to the interface that it extends.

#include <qdvideomixer/media_graph.h>
#include <qdvideomixer/object.h>

namespace qdvm {

template <class Interface>
struct InterfaceTraits;

// Tells the platform about an interface; to be used once for each, inside namespace qdvm, where the
// interface is declared or in the room that implements it. Base is the interface that it derives
// from; an object that has the interface answers for its bases too.
#define QDVM_INTERFACE(Interface, BaseInterface, identifier) \
    template <>                                              \
    struct InterfaceTraits<Interface> {                      \
        using Base = BaseInterface;                          \
        static constexpr const IID& kIid = identifier;       \
    }

template <class Interface>
constexpr const IID& IidOf() {
    return InterfaceTraits<Interface>::kIid;
}

template <>
struct InterfaceTraits<IUnknown> {
    static constexpr const IID& kIid = IID_IUnknown;
};

QDVM_INTERFACE(IPersist, IUnknown, IID_IPersist);
QDVM_INTERFACE(IReferenceClock, IUnknown, IID_IReferenceClock);
QDVM_INTERFACE(IMediaFilter, IPersist, IID_IMediaFilter);
QDVM_INTERFACE(IBaseFilter, IMediaFilter, IID_IBaseFilter);
QDVM_INTERFACE(IPin, IUnknown, IID_IPin);
QDVM_INTERFACE(IEnumPins, IUnknown, IID_IEnumPins);
QDVM_INTERFACE(IEnumMediaTypes, IUnknown, IID_IEnumMediaTypes);
QDVM_INTERFACE(IEnumFilters, IUnknown, IID_IEnumFilters);
QDVM_INTERFACE(IMediaSample, IUnknown, IID_IMediaSample);
QDVM_INTERFACE(IMediaSample2, IMediaSample, IID_IMediaSample2);
QDVM_INTERFACE(IMemAllocator, IUnknown, IID_IMemAllocator);
QDVM_INTERFACE(IMemAllocatorCallbackTemp, IMemAllocator, IID_IMemAllocatorCallbackTemp);
QDVM_INTERFACE(IMemAllocatorNotifyCallbackTemp, IUnknown, IID_IMemAllocatorNotifyCallbackTemp);
QDVM_INTERFACE(IMemInputPin, IUnknown, IID_IMemInputPin);
QDVM_INTERFACE(IQualityControl, IUnknown, IID_IQualityControl);
QDVM_INTERFACE(IMediaSeeking, IUnknown, IID_IMediaSeeking);
QDVM_INTERFACE(IFilterGraph, IUnknown, IID_IFilterGraph);
QDVM_INTERFACE(IGraphBuilder, IFilterGraph, IID_IGraphBuilder);
QDVM_INTERFACE(IFilterGraph2, IGraphBuilder, IID_IFilterGraph2);
QDVM_INTERFACE(IMediaControl, IUnknown, IID_IMediaControl);
QDVM_INTERFACE(IMediaEventSink, IUnknown, IID_IMediaEventSink);

}  // namespace qdvm
