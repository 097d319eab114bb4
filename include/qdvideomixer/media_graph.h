#pragma once

// The published interfaces, records and result codes of a media graph: filters, pins, samples,
// allocators, clocks and the graph itself, with their published identifiers, values and slot order.
//
// The rules of ownership in object.h hold here too. Names and texts handed out through
// LPOLESTR* are task memory. AM_MEDIA_TYPE* handed out is a deep copy that the receiver frees.
//
// Thread-safety: connecting and state changes come on the thread of the application, samples on
// the threads of the filters upstream. Flushes may come on any thread.

#include <qdvideomixer/graph_results.h>
#include <qdvideomixer/media_type.h>
#include <qdvideomixer/object.h>

struct IBaseFilter;
struct IEnumFilters;
struct IEnumMediaTypes;
struct IEnumPins;
struct IFilterGraph;
struct IPin;
struct IReferenceClock;

enum FILTER_STATE : std::int32_t { State_Stopped = 0, State_Paused = 1, State_Running = 2 };
enum PIN_DIRECTION : std::int32_t { PINDIR_INPUT = 0, PINDIR_OUTPUT = 1 };

inline constexpr int MAX_PIN_NAME = 128;
inline constexpr int MAX_FILTER_NAME = 128;

// What IPin::QueryPinInfo fills; pFilter carries a reference for the caller, and may be null.
struct PIN_INFO {
    IBaseFilter* pFilter;
    PIN_DIRECTION dir;
    OLECHAR achName[MAX_PIN_NAME];
};

// What IBaseFilter::QueryFilterInfo fills; pGraph carries a reference for the caller, and is null
// outside a graph.
struct FILTER_INFO {
    OLECHAR achName[MAX_FILTER_NAME];
    IFilterGraph* pGraph;
};

// Buffers of an allocator: their number, and bytes of each, of its alignment and before its data.
struct ALLOCATOR_PROPERTIES {
    LONG cBuffers;
    LONG cbBuffer;
    LONG cbAlign;
    LONG cbPrefix;
};
static_assert(sizeof(ALLOCATOR_PROPERTIES) == 16);

// Waiting objects that a clock signals. Who gives one to a clock keeps it alive until it has been
// signalled or the request withdrawn.
struct EventHandle;
struct SemaphoreHandle;
using HEVENT = EventHandle*;
using HSEMAPHORE = SemaphoreHandle*;

// For those who write a clock: signals what a client handed to AdviseTime or AdvisePeriodic. False
// for a null handle; the semaphore also when the count would overflow.
BOOL SetEvent(HEVENT event);
BOOL ReleaseSemaphore(HSEMAPHORE semaphore, LONG count);

inline constexpr IID IID_IReferenceClock = {
    0x56A86897, 0x0AD4, 0x11CE, {0xB0, 0x3A, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70}};

struct IReferenceClock : IUnknown {
    // The present time in 100 ns; S_FALSE if it is the same as at the last call.
    virtual HRESULT GetTime(REFERENCE_TIME* time) = 0;
    // Signals the event once, at baseTime + streamTime.
    virtual HRESULT AdviseTime(REFERENCE_TIME baseTime, REFERENCE_TIME streamTime, HEVENT event,
                               DWORD_PTR* cookie) = 0;
    // Releases the semaphore by one at startTime and each periodTime after it.
    virtual HRESULT AdvisePeriodic(REFERENCE_TIME startTime, REFERENCE_TIME periodTime,
                                   HSEMAPHORE semaphore, DWORD_PTR* cookie) = 0;
    // Withdraws a request; after the call its waiting object is not touched any more. S_FALSE if
    // the request is not known, or over.
    virtual HRESULT Unadvise(DWORD_PTR cookie) = 0;

protected:
    ~IReferenceClock() = default;
};

inline constexpr IID IID_IMediaFilter = {
    0x56A86899, 0x0AD4, 0x11CE, {0xB0, 0x3A, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70}};

struct IMediaFilter : IPersist {
    virtual HRESULT Stop() = 0;
    virtual HRESULT Pause() = 0;
    // start: the time of the clock at which the stream time is 0.
    virtual HRESULT Run(REFERENCE_TIME start) = 0;
    virtual HRESULT GetState(DWORD timeoutMs, FILTER_STATE* state) = 0;
    virtual HRESULT SetSyncSource(IReferenceClock* clock) = 0;
    virtual HRESULT GetSyncSource(IReferenceClock** clock) = 0;

protected:
    ~IMediaFilter() = default;
};

inline constexpr IID IID_IBaseFilter = {
    0x56A86895, 0x0AD4, 0x11CE, {0xB0, 0x3A, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70}};

struct IBaseFilter : IMediaFilter {
    virtual HRESULT EnumPins(IEnumPins** pins) = 0;
    virtual HRESULT FindPin(LPCOLESTR id, IPin** pin) = 0;
    virtual HRESULT QueryFilterInfo(FILTER_INFO* info) = 0;
    // Null leaves the graph. The filter keeps no reference on it.
    virtual HRESULT JoinFilterGraph(IFilterGraph* graph, LPCOLESTR name) = 0;
    virtual HRESULT QueryVendorInfo(LPOLESTR* info) = 0;

protected:
    ~IBaseFilter() = default;
};

inline constexpr IID IID_IPin = {
    0x56A86891, 0x0AD4, 0x11CE, {0xB0, 0x3A, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70}};

struct IPin : IUnknown {
    virtual HRESULT Connect(IPin* receivePin, const AM_MEDIA_TYPE* type) = 0;
    virtual HRESULT ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) = 0;
    virtual HRESULT Disconnect() = 0;
    virtual HRESULT ConnectedTo(IPin** pin) = 0;
    // Fills the caller's record; its format block is task memory.
    virtual HRESULT ConnectionMediaType(AM_MEDIA_TYPE* type) = 0;
    virtual HRESULT QueryPinInfo(PIN_INFO* info) = 0;
    virtual HRESULT QueryDirection(PIN_DIRECTION* direction) = 0;
    virtual HRESULT QueryId(LPOLESTR* id) = 0;
    virtual HRESULT QueryAccept(const AM_MEDIA_TYPE* type) = 0;
    virtual HRESULT EnumMediaTypes(IEnumMediaTypes** types) = 0;
    virtual HRESULT QueryInternalConnections(IPin** pins, ULONG* count) = 0;
    virtual HRESULT EndOfStream() = 0;
    virtual HRESULT BeginFlush() = 0;
    virtual HRESULT EndFlush() = 0;
    virtual HRESULT NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) = 0;

protected:
    ~IPin() = default;
};

inline constexpr IID IID_IEnumPins = {
    0x56A86892, 0x0AD4, 0x11CE, {0xB0, 0x3A, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70}};

struct IEnumPins : IUnknown {
    virtual HRESULT Next(ULONG count, IPin** pins, ULONG* fetched) = 0;
    virtual HRESULT Skip(ULONG count) = 0;
    virtual HRESULT Reset() = 0;
    virtual HRESULT Clone(IEnumPins** copy) = 0;

protected:
    ~IEnumPins() = default;
};

inline constexpr IID IID_IEnumMediaTypes = {
    0x89C31040, 0x846B, 0x11CE, {0x97, 0xD3, 0x00, 0xAA, 0x00, 0x55, 0x59, 0x5A}};

struct IEnumMediaTypes : IUnknown {
    virtual HRESULT Next(ULONG count, AM_MEDIA_TYPE** types, ULONG* fetched) = 0;
    virtual HRESULT Skip(ULONG count) = 0;
    virtual HRESULT Reset() = 0;
    virtual HRESULT Clone(IEnumMediaTypes** copy) = 0;

protected:
    ~IEnumMediaTypes() = default;
};

inline constexpr IID IID_IEnumFilters = {
    0x56A86893, 0x0AD4, 0x11CE, {0xB0, 0x3A, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70}};

struct IEnumFilters : IUnknown {
    virtual HRESULT Next(ULONG count, IBaseFilter** filters, ULONG* fetched) = 0;
    virtual HRESULT Skip(ULONG count) = 0;
    virtual HRESULT Reset() = 0;
    virtual HRESULT Clone(IEnumFilters** copy) = 0;

protected:
    ~IEnumFilters() = default;
};

inline constexpr IID IID_IMediaSample = {
    0x56A8689A, 0x0AD4, 0x11CE, {0xB0, 0x3A, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70}};

struct IMediaSample : IUnknown {
    virtual HRESULT GetPointer(BYTE** buffer) = 0;
    // Bytes that the buffer can hold; the one operation of a sample that gives no result code.
    virtual LONG GetSize() = 0;
    virtual HRESULT GetTime(REFERENCE_TIME* start, REFERENCE_TIME* stop) = 0;
    virtual HRESULT SetTime(REFERENCE_TIME* start, REFERENCE_TIME* stop) = 0;
    virtual HRESULT IsSyncPoint() = 0;
    virtual HRESULT SetSyncPoint(BOOL isSyncPoint) = 0;
    virtual HRESULT IsPreroll() = 0;
    virtual HRESULT SetPreroll(BOOL isPreroll) = 0;
    // Bytes in use.
    virtual LONG GetActualDataLength() = 0;
    virtual HRESULT SetActualDataLength(LONG length) = 0;
    // S_OK with a copy if the sample carries a type of its own, S_FALSE and null if not.
    virtual HRESULT GetMediaType(AM_MEDIA_TYPE** type) = 0;
    virtual HRESULT SetMediaType(AM_MEDIA_TYPE* type) = 0;
    virtual HRESULT IsDiscontinuity() = 0;
    virtual HRESULT SetDiscontinuity(BOOL isDiscontinuity) = 0;
    virtual HRESULT GetMediaTime(LONGLONG* start, LONGLONG* stop) = 0;
    virtual HRESULT SetMediaTime(LONGLONG* start, LONGLONG* stop) = 0;

protected:
    ~IMediaSample() = default;
};

// Flags of a sample in AM_SAMPLE2_PROPERTIES.
inline constexpr DWORD AM_SAMPLE_SPLICEPOINT = 0x001;
inline constexpr DWORD AM_SAMPLE_PREROLL = 0x002;
inline constexpr DWORD AM_SAMPLE_DATADISCONTINUITY = 0x004;
inline constexpr DWORD AM_SAMPLE_TYPECHANGED = 0x008;
inline constexpr DWORD AM_SAMPLE_TIMEVALID = 0x010;
inline constexpr DWORD AM_SAMPLE_TIMEDISCONTINUITY = 0x040;
inline constexpr DWORD AM_SAMPLE_FLUSH_ON_PAUSE = 0x080;
inline constexpr DWORD AM_SAMPLE_STOPVALID = 0x100;
inline constexpr DWORD AM_SAMPLE_ENDOFSTREAM = 0x200;

// All properties of a sample at once. Read and written as a prefix of cbData bytes.
struct AM_SAMPLE2_PROPERTIES {
    DWORD cbData;
    DWORD dwTypeSpecificFlags;
    DWORD dwSampleFlags;
    LONG lActual;
    REFERENCE_TIME tStart;
    REFERENCE_TIME tStop;
    DWORD dwStreamId;
    AM_MEDIA_TYPE* pMediaType;  // the sample's own, not a copy
    BYTE* pbBuffer;
    LONG cbBuffer;
};
static_assert(offsetof(AM_SAMPLE2_PROPERTIES, tStart) == 16);
static_assert(offsetof(AM_SAMPLE2_PROPERTIES, dwStreamId) == 32);
static_assert(sizeof(void*) != 8 || (offsetof(AM_SAMPLE2_PROPERTIES, pMediaType) == 40 &&
                                     offsetof(AM_SAMPLE2_PROPERTIES, cbBuffer) == 56 &&
                                     sizeof(AM_SAMPLE2_PROPERTIES) == 64));

inline constexpr IID IID_IMediaSample2 = {
    0x36B73884, 0xC2C8, 0x11CF, {0x8B, 0x46, 0x00, 0x80, 0x5F, 0x6C, 0xEF, 0x60}};

struct IMediaSample2 : IMediaSample {
    virtual HRESULT GetProperties(DWORD size, BYTE* properties) = 0;
    virtual HRESULT SetProperties(DWORD size, const BYTE* properties) = 0;

protected:
    ~IMediaSample2() = default;
};

// Flags of IMemAllocator::GetBuffer.
inline constexpr DWORD AM_GBF_PREVFRAMESKIPPED = 0x1;
inline constexpr DWORD AM_GBF_NOTASYNCPOINT = 0x2;
inline constexpr DWORD AM_GBF_NOWAIT = 0x4;  // VFW_E_TIMEOUT instead of waiting for a buffer

inline constexpr IID IID_IMemAllocator = {
    0x56A8689C, 0x0AD4, 0x11CE, {0xB0, 0x3A, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70}};

struct IMemAllocator : IUnknown {
    virtual HRESULT SetProperties(ALLOCATOR_PROPERTIES* request, ALLOCATOR_PROPERTIES* actual) = 0;
    virtual HRESULT GetProperties(ALLOCATOR_PROPERTIES* properties) = 0;
    virtual HRESULT Commit() = 0;
    // Threads that wait in GetBuffer go on with a failure. Memory goes when the last sample is
    // back.
    virtual HRESULT Decommit() = 0;
    virtual HRESULT GetBuffer(IMediaSample** sample, REFERENCE_TIME* start, REFERENCE_TIME* stop,
                              DWORD flags) = 0;
    // Called by a sample whose last reference went, by nobody else.
    virtual HRESULT ReleaseBuffer(IMediaSample* sample) = 0;

protected:
    ~IMemAllocator() = default;
};

inline constexpr IID IID_IMemAllocatorNotifyCallbackTemp = {
    0x92980B30, 0xC1DE, 0x11D2, {0xAB, 0xF5, 0x00, 0xA0, 0xC9, 0x05, 0xF3, 0x75}};

struct IMemAllocatorNotifyCallbackTemp : IUnknown {
    // A sample came back. Called without a lock of the allocator.
    virtual HRESULT NotifyRelease() = 0;

protected:
    ~IMemAllocatorNotifyCallbackTemp() = default;
};

inline constexpr IID IID_IMemAllocatorCallbackTemp = {
    0x379A0CF0, 0xC1DE, 0x11D2, {0xAB, 0xF5, 0x00, 0xA0, 0xC9, 0x05, 0xF3, 0x75}};

struct IMemAllocatorCallbackTemp : IMemAllocator {
    virtual HRESULT SetNotify(IMemAllocatorNotifyCallbackTemp* notify) = 0;
    virtual HRESULT GetFreeCount(LONG* buffersFree) = 0;

protected:
    ~IMemAllocatorCallbackTemp() = default;
};

inline constexpr IID IID_IMemInputPin = {
    0x56A8689D, 0x0AD4, 0x11CE, {0xB0, 0x3A, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70}};

struct IMemInputPin : IUnknown {
    virtual HRESULT GetAllocator(IMemAllocator** allocator) = 0;
    virtual HRESULT NotifyAllocator(IMemAllocator* allocator, BOOL readOnly) = 0;
    virtual HRESULT GetAllocatorRequirements(ALLOCATOR_PROPERTIES* properties) = 0;
    virtual HRESULT Receive(IMediaSample* sample) = 0;
    virtual HRESULT ReceiveMultiple(IMediaSample** samples, LONG count, LONG* processed) = 0;
    virtual HRESULT ReceiveCanBlock() = 0;

protected:
    ~IMemInputPin() = default;
};

enum QualityMessageType : std::int32_t { Famine = 0, Flood = 1 };

struct Quality {
    QualityMessageType Type;
    LONG Proportion;  // per mille of the present rate that would be right
    REFERENCE_TIME Late;
    REFERENCE_TIME TimeStamp;
};
static_assert(sizeof(Quality) == 24);

inline constexpr IID IID_IQualityControl = {
    0x56A868A5, 0x0AD4, 0x11CE, {0xB0, 0x3A, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70}};

struct IQualityControl : IUnknown {
    virtual HRESULT Notify(IBaseFilter* self, Quality quality) = 0;
    virtual HRESULT SetSink(IQualityControl* sink) = 0;

protected:
    ~IQualityControl() = default;
};

inline constexpr DWORD AM_SEEKING_CanSeekAbsolute = 0x001;
inline constexpr DWORD AM_SEEKING_CanSeekForwards = 0x002;
inline constexpr DWORD AM_SEEKING_CanSeekBackwards = 0x004;
inline constexpr DWORD AM_SEEKING_CanGetCurrentPos = 0x008;
inline constexpr DWORD AM_SEEKING_CanGetStopPos = 0x010;
inline constexpr DWORD AM_SEEKING_CanGetDuration = 0x020;

inline constexpr DWORD AM_SEEKING_NoPositioning = 0x00;
inline constexpr DWORD AM_SEEKING_AbsolutePositioning = 0x01;
inline constexpr DWORD AM_SEEKING_RelativePositioning = 0x02;
inline constexpr DWORD AM_SEEKING_IncrementalPositioning = 0x03;
inline constexpr DWORD AM_SEEKING_PositioningBitsMask = 0x03;
inline constexpr DWORD AM_SEEKING_SeekToKeyFrame = 0x04;
inline constexpr DWORD AM_SEEKING_ReturnTime = 0x08;
inline constexpr DWORD AM_SEEKING_Segment = 0x10;
inline constexpr DWORD AM_SEEKING_NoFlush = 0x20;

inline constexpr GUID TIME_FORMAT_NONE = GUID_NULL;
inline constexpr GUID TIME_FORMAT_FRAME = {
    0x7B785570, 0x8C82, 0x11CF, {0xBC, 0x0C, 0x00, 0xAA, 0x00, 0xAC, 0x74, 0xF6}};
inline constexpr GUID TIME_FORMAT_MEDIA_TIME = {
    0x7B785574, 0x8C82, 0x11CF, {0xBC, 0x0C, 0x00, 0xAA, 0x00, 0xAC, 0x74, 0xF6}};

inline constexpr IID IID_IMediaSeeking = {
    0x36B73880, 0xC2C8, 0x11CF, {0x8B, 0x46, 0x00, 0x80, 0x5F, 0x6C, 0xEF, 0x60}};

struct IMediaSeeking : IUnknown {
    virtual HRESULT GetCapabilities(DWORD* capabilities) = 0;
    virtual HRESULT CheckCapabilities(DWORD* capabilities) = 0;
    virtual HRESULT IsFormatSupported(const GUID* format) = 0;
    virtual HRESULT QueryPreferredFormat(GUID* format) = 0;
    virtual HRESULT GetTimeFormat(GUID* format) = 0;
    virtual HRESULT IsUsingTimeFormat(const GUID* format) = 0;
    virtual HRESULT SetTimeFormat(const GUID* format) = 0;
    virtual HRESULT GetDuration(LONGLONG* duration) = 0;
    virtual HRESULT GetStopPosition(LONGLONG* stop) = 0;
    virtual HRESULT GetCurrentPosition(LONGLONG* current) = 0;
    virtual HRESULT ConvertTimeFormat(LONGLONG* target, const GUID* targetFormat, LONGLONG source,
                                      const GUID* sourceFormat) = 0;
    virtual HRESULT SetPositions(LONGLONG* current, DWORD currentFlags, LONGLONG* stop,
                                 DWORD stopFlags) = 0;
    virtual HRESULT GetPositions(LONGLONG* current, LONGLONG* stop) = 0;
    virtual HRESULT GetAvailable(LONGLONG* earliest, LONGLONG* latest) = 0;
    virtual HRESULT SetRate(double rate) = 0;
    virtual HRESULT GetRate(double* rate) = 0;
    virtual HRESULT GetPreroll(LONGLONG* preroll) = 0;

protected:
    ~IMediaSeeking() = default;
};

inline constexpr IID IID_IFilterGraph = {
    0x56A8689F, 0x0AD4, 0x11CE, {0xB0, 0x3A, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70}};

struct IFilterGraph : IUnknown {
    // VFW_S_DUPLICATE_NAME if the graph had to choose another name.
    virtual HRESULT AddFilter(IBaseFilter* filter, LPCOLESTR name) = 0;
    virtual HRESULT RemoveFilter(IBaseFilter* filter) = 0;
    virtual HRESULT EnumFilters(IEnumFilters** filters) = 0;
    virtual HRESULT FindFilterByName(LPCOLESTR name, IBaseFilter** filter) = 0;
    // A null type leaves the choice to the pins.
    virtual HRESULT ConnectDirect(IPin* output, IPin* input, const AM_MEDIA_TYPE* type) = 0;
    // Breaks the connection of a pin and makes it anew, with a type that the pins choose.
    virtual HRESULT Reconnect(IPin* pin) = 0;
    // One end only: call it on both pins.
    virtual HRESULT Disconnect(IPin* pin) = 0;
    virtual HRESULT SetDefaultSyncSource() = 0;

protected:
    ~IFilterGraph() = default;
};

inline constexpr IID IID_IGraphBuilder = {
    0x56A868A9, 0x0AD4, 0x11CE, {0xB0, 0x3A, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70}};

struct IGraphBuilder : IFilterGraph {
    virtual HRESULT Connect(IPin* output, IPin* input) = 0;
    virtual HRESULT Render(IPin* output) = 0;
    virtual HRESULT RenderFile(LPCOLESTR file, LPCOLESTR playList) = 0;
    virtual HRESULT AddSourceFilter(LPCOLESTR file, LPCOLESTR filterName, IBaseFilter** filter) = 0;
    virtual HRESULT SetLogFile(DWORD_PTR file) = 0;
    virtual HRESULT Abort() = 0;
    virtual HRESULT ShouldOperationContinue() = 0;

protected:
    ~IGraphBuilder() = default;
};

struct IBindCtx;
struct IMoniker;

inline constexpr IID IID_IFilterGraph2 = {
    0x36B73882, 0xC2C8, 0x11CF, {0x8B, 0x46, 0x00, 0x80, 0x5F, 0x6C, 0xEF, 0x60}};

struct IFilterGraph2 : IGraphBuilder {
    virtual HRESULT AddSourceFilterForMoniker(IMoniker* moniker, IBindCtx* context, LPCOLESTR name,
                                              IBaseFilter** filter) = 0;
    // As Reconnect, with the given type.
    virtual HRESULT ReconnectEx(IPin* pin, const AM_MEDIA_TYPE* type) = 0;
    virtual HRESULT RenderEx(IPin* output, DWORD flags, DWORD* context) = 0;

protected:
    ~IFilterGraph2() = default;
};

using OAFilterState = LONG;

// The published interface stands on a scripting interface that has no place here, so this one keeps
// the names and the order of the operations but not their slots, and has an identifier of its own.
inline constexpr IID IID_IMediaControl = {
    0x3C9E6C0B, 0x5E0F, 0x4B5D, {0x9A, 0x41, 0x6E, 0x0D, 0x82, 0xB7, 0x13, 0xC4}};

struct IMediaControl : IUnknown {
    virtual HRESULT Run() = 0;
    virtual HRESULT Pause() = 0;
    virtual HRESULT Stop() = 0;
    virtual HRESULT GetState(LONG timeoutMs, OAFilterState* state) = 0;

protected:
    ~IMediaControl() = default;
};

inline constexpr LONG EC_COMPLETE = 0x01;
inline constexpr LONG EC_USERABORT = 0x02;
inline constexpr LONG EC_ERRORABORT = 0x03;

inline constexpr IID IID_IMediaEventSink = {
    0x56A868A2, 0x0AD4, 0x11CE, {0xB0, 0x3A, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70}};

struct IMediaEventSink : IUnknown {
    virtual HRESULT Notify(LONG eventCode, LONG_PTR param1, LONG_PTR param2) = 0;

protected:
    ~IMediaEventSink() = default;
};
