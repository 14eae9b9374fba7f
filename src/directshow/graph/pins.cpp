#include "directshow/graph/pins.h"

#include <algorithm>

#include <quillet/error_codes.h>

using Microsoft::WRL::ComPtr;

namespace quillet {
namespace {

using FilterList = std::vector<ComPtr<IBaseFilter>>;

/// Takes everything from an enumerator.
/// @return a failure when it breaks off.
template <class Interface, class Enumerator, class Take>
HRESULT enumerate(Enumerator* enumerator, Take take) {
  ComPtr<Interface> item;
  HRESULT result = S_OK;
  while ((result = enumerator->Next(1, item.ReleaseAndGetAddressOf(), nullptr)) == S_OK) {
    take(item);
  }
  return FAILED(result) ? result : S_OK;
}

/// @return a failure when the graph's filters cannot be enumerated.
HRESULT listFilters(IGraphBuilder* graph, FilterList& filters) {
  ComPtr<IEnumFilters> enumerator;
  const HRESULT result = graph->EnumFilters(&enumerator);
  if (FAILED(result)) {
    return result;
  }
  filters.clear();
  return enumerate<IBaseFilter>(enumerator.Get(), [&](const auto& filter) { filters.push_back(filter); });
}

/// Takes all filters out of the graph that `wanted` does not list. They were put into a connection that is no more, and
/// would stand in the way of the next attempt.
void removeOtherFilters(IGraphBuilder* graph, const FilterList& wanted) {
  FilterList filters;
  if (FAILED(listFilters(graph, filters))) {
    return;  // They stay, unconnected.
  }
  for (const auto& filter : filters) {
    if (std::find(wanted.begin(), wanted.end(), filter) == wanted.end()) {
      graph->RemoveFilter(filter.Get());
    }
  }
}

bool disconnectBoth(IPin* output, IPin* input) {
  return SUCCEEDED(output->Disconnect()) && SUCCEEDED(input->Disconnect());
}

ComPtr<IPin> firstPinThatIs(bool connected, IBaseFilter* filter, PIN_DIRECTION direction) {
  PinList pins;
  listPins(filter, direction, pins);
  const auto found =
      std::ranges::find_if(pins, [&](const auto& pin) { return (peerOf(pin.Get()) != nullptr) == connected; });
  return found != pins.end() ? *found : nullptr;
}

/// A source with a single output feeds a splitter, whose outputs are the streams: the splitter is found by connecting
/// once, then the grabber is moved to the stream wanted.
int connectThroughSplitter(IGraphBuilder* graph, IBaseFilter* source, IBaseFilter* grabber, int streamNumber) {
  FilterList keptFilters;
  if (FAILED(listFilters(graph, keptFilters)) || !connectPair(graph, source, grabber, 0)) {
    return ds_error::cannotConnectFilters;
  }
  const ComPtr<IPin> sourceOutput = firstPin(source, PINDIR_OUTPUT);
  if (sourceOutput == nullptr) {
    return ds_error::noOutputPin;
  }
  const ComPtr<IPin> splitterInput = peerOf(sourceOutput.Get());
  const ComPtr<IBaseFilter> splitter = splitterInput != nullptr ? filterOf(splitterInput.Get()) : nullptr;
  if (splitter == nullptr) {
    return ds_error::noSplitter;
  }
  const ComPtr<IPin> splitterOutput = firstConnectedPin(splitter.Get(), PINDIR_OUTPUT);
  if (splitterOutput == nullptr) {
    return ds_error::noOutputPin;
  }
  if (FAILED(splitterOutput->Disconnect())) {
    return ds_error::cannotDisconnectSplitter;
  }
  const ComPtr<IPin> grabberInput = firstConnectedPin(grabber, PINDIR_INPUT);
  if (grabberInput == nullptr) {
    return ds_error::grabberNotConnected;
  }
  if (FAILED(grabberInput->Disconnect())) {
    return ds_error::cannotDisconnectGrabber;
  }
  keptFilters.push_back(splitter);
  removeOtherFilters(graph, keptFilters);
  return connectPair(graph, splitter.Get(), grabber, streamNumber) ? ds_error::success : ds_error::cannotConnectFilters;
}

}  // namespace

HRESULT listPins(IBaseFilter* filter, PIN_DIRECTION direction, PinList& pins) {
  ComPtr<IEnumPins> enumerator;
  const HRESULT result = filter->EnumPins(&enumerator);
  if (FAILED(result)) {
    return result;
  }
  pins.clear();
  return enumerate<IPin>(enumerator.Get(), [&](const auto& pin) {
    PIN_DIRECTION pinDirection = PINDIR_INPUT;
    if (SUCCEEDED(pin->QueryDirection(&pinDirection)) && pinDirection == direction) {
      pins.push_back(pin);
    }
  });
}

ComPtr<IPin> firstPin(IBaseFilter* filter, PIN_DIRECTION direction) {
  PinList pins;
  return SUCCEEDED(listPins(filter, direction, pins)) && !pins.empty() ? pins.front() : nullptr;
}

ComPtr<IPin> firstConnectedPin(IBaseFilter* filter, PIN_DIRECTION direction) {
  return firstPinThatIs(true, filter, direction);
}

ComPtr<IPin> firstUnconnectedPin(IBaseFilter* filter, PIN_DIRECTION direction) {
  return firstPinThatIs(false, filter, direction);
}

ComPtr<IPin> peerOf(IPin* pin) {
  ComPtr<IPin> peer;
  return SUCCEEDED(pin->ConnectedTo(&peer)) ? peer : nullptr;
}

ComPtr<IBaseFilter> filterOf(IPin* pin) {
  PIN_INFO info = {};
  if (FAILED(pin->QueryPinInfo(&info))) {
    return nullptr;
  }
  ComPtr<IBaseFilter> filter;
  *filter.GetAddressOf() = info.pFilter;  // Counted already; MinGW's Attach would count once more.
  return filter;
}

bool connectPair(IGraphBuilder* graph, IBaseFilter* upstream, IBaseFilter* downstream, int n) {
  // The lists are taken before the first attempt: some filters grow pins as they are tried.
  FilterList keptFilters;
  PinList outputs;
  PinList inputs;
  if (FAILED(listFilters(graph, keptFilters)) || FAILED(listPins(upstream, PINDIR_OUTPUT, outputs)) ||
      FAILED(listPins(downstream, PINDIR_INPUT, inputs))) {
    return false;
  }
  int successes = 0;
  for (const auto& output : outputs) {
    for (const auto& input : inputs) {
      if (FAILED(graph->Connect(output.Get(), input.Get()))) {
        continue;
      }
      if (successes == n) {
        return true;
      }
      ++successes;
      if (!disconnectBoth(output.Get(), input.Get())) {
        return false;
      }
      removeOtherFilters(graph, keptFilters);
    }
  }
  return false;
}

int connectSourceToGrabber(IGraphBuilder* graph, IBaseFilter* source, IBaseFilter* grabber, int streamNumber) {
  PinList outputs;
  if (FAILED(listPins(source, PINDIR_OUTPUT, outputs))) {
    return ds_error::cannotEnumeratePins;
  }
  if (streamNumber == 0 || outputs.size() > 1) {
    return connectPair(graph, source, grabber, streamNumber) ? ds_error::success : ds_error::cannotConnectFilters;
  }
  return connectThroughSplitter(graph, source, grabber, streamNumber);
}

}  // namespace quillet
