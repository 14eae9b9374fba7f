// Pins of filters, and how two filters are connected through a chosen stream.

#pragma once

#include <vector>

#include <windows.h>

#include <strmif.h>
#include <wrl/client.h>

namespace quillet {

using PinList = std::vector<Microsoft::WRL::ComPtr<IPin>>;

/// Lists a filter's pins of one direction, in the filter's order.
/// @return a failure when they cannot all be enumerated.
HRESULT listPins(IBaseFilter* filter, PIN_DIRECTION direction, PinList& pins);

/// @return the first of a filter's pins of one direction; null when it has none.
Microsoft::WRL::ComPtr<IPin> firstPin(IBaseFilter* filter, PIN_DIRECTION direction);

/// @return the first of a filter's pins of one direction that is connected; null when none is.
Microsoft::WRL::ComPtr<IPin> firstConnectedPin(IBaseFilter* filter, PIN_DIRECTION direction);

/// @return the first of a filter's pins of one direction that is not connected; null when there is none.
Microsoft::WRL::ComPtr<IPin> firstUnconnectedPin(IBaseFilter* filter, PIN_DIRECTION direction);

/// @return the pin that `pin` is connected to; null when it is not connected.
Microsoft::WRL::ComPtr<IPin> peerOf(IPin* pin);

/// @return the filter that `pin` belongs to; null when the pin does not tell.
Microsoft::WRL::ComPtr<IBaseFilter> filterOf(IPin* pin);

/// Connects an output pin of `upstream` to an input pin of `downstream`, with whatever filters the graph sees fit to put
/// in between.
/// @param n 0-based number of the connection wanted among those that succeed, in the order of the pins.
/// @return whether it was made.
bool connectPair(IGraphBuilder* graph, IBaseFilter* upstream, IBaseFilter* downstream, int n);

/// Connects a source filter to a sample grabber whose media type lets only streams of the wanted kind through.
/// @param streamNumber 0-based number of the stream among those that can reach the grabber; there is none below 0.
/// @return a ds_error code.
int connectSourceToGrabber(IGraphBuilder* graph, IBaseFilter* source, IBaseFilter* grabber, int streamNumber);

}  // namespace quillet
