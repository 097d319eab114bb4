#pragma once

// From filter to pin to filter. All results carry references; a question that a filter or pin
// doesn't answer gives nothing.

#include "platform/ref.h"

#include <qdvideomixer/media_graph.h>

#include <vector>

namespace qdvm {

// The pins of a filter in its own order. If they keep changing during the walk, none.
std::vector<Ref<IPin>> PinsOf(IBaseFilter* filter);

// The pin at the other end of a connection.
Ref<IPin> PeerOf(IPin* pin);

// The filter that a pin belongs to.
Ref<IBaseFilter> FilterOf(IPin* pin);

// PINDIR_INPUT if the pin doesn't tell.
PIN_DIRECTION DirectionOf(IPin* pin);

// The filters, each behind those of the list that take its output, otherwise in their given order.
// A circle is cut somewhere.
std::vector<Ref<IBaseFilter>> SortDownstreamFirst(const std::vector<Ref<IBaseFilter>>& filters);

}  // namespace qdvm
