// The base of pins: connecting, and what a pin tells of itself.

#pragma once

#include <string>

#include <windows.h>

#include <strmif.h>
#include <wrl/client.h>

#include "directshow/base/c_base_filter.h"
#include "directshow/base/com_object.h"
#include "formats/media_type.h"

namespace quillet {

/// The part of a filter that counts its references on the filter.
class FilterPart {
 public:
  FilterPart(const FilterPart&) = delete;
  FilterPart& operator=(const FilterPart&) = delete;
  virtual ~FilterPart() = default;

  CBaseFilter& filter() const { return owner; }

 protected:
  explicit FilterPart(CBaseFilter& filter) : owner(filter) {}

  HRESULT queryInterface(REFIID id, void** object) { return answerInterface(findInterface(id), object); }
  ULONG addRef() { return owner.AddRef(); }
  ULONG release() { return owner.Release(); }
  virtual IUnknown* findInterface(REFIID) { return nullptr; }

 private:
  CBaseFilter& owner;
};

/// A pin. Its name is also its id, so that the names of a filter's pins differ.
///
/// The hooks below are for subclasses. All are called with the filter's state lock held, but for CheckMediaType() and
/// GetMediaType(), which anybody may cause at any time.
class CBasePin : public WithInterfaces<FilterPart, IPin, IQualityControl> {
 public:
  CBasePin(CBaseFilter& filter, PIN_DIRECTION direction, const wchar_t* name);

  const std::wstring& id() const { return pinName; }

  /// For callers that hold the state lock or are streaming.
  bool isConnected() const { return peer != nullptr; }

  /// Whether the pin takes this type: S_OK, or S_FALSE or a failure when it does not.
  virtual HRESULT CheckMediaType(const CMediaType* type) = 0;

  /// The types that the pin offers, the best first: VFW_S_NO_MORE_ITEMS behind the last. The base offers none.
  virtual HRESULT GetMediaType(int position, CMediaType* type);

  /// Keeps the type that a connection is going to carry, after CheckMediaType() has taken it.
  virtual HRESULT SetMediaType(const CMediaType* type);

  /// The first step of a connection: whether it can be had with this pin at all. BreakConnect() undoes it.
  virtual HRESULT CheckConnect(IPin* other);

  /// The last step of a connection, when both pins have agreed on the type.
  virtual HRESULT CompleteConnect(IPin* other);

  /// Undoes CheckConnect() and CompleteConnect(), also when the connection failed half way.
  virtual HRESULT BreakConnect();

  /// The filter goes from stopped to paused. A pin that fails has undone what it had begun.
  virtual HRESULT Active() { return S_OK; }

  /// The filter goes to stopped. Called also on a pin that is not active.
  virtual HRESULT Inactive() { return S_OK; }

  /// The filter goes from paused to running.
  virtual HRESULT Run(REFERENCE_TIME) { return S_OK; }

  // IPin
  STDMETHODIMP Connect(IPin* receiver, const AM_MEDIA_TYPE* type) override;
  STDMETHODIMP ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) override;
  STDMETHODIMP Disconnect() override;
  STDMETHODIMP ConnectedTo(IPin** result) override;
  STDMETHODIMP ConnectionMediaType(AM_MEDIA_TYPE* result) override;
  STDMETHODIMP QueryPinInfo(PIN_INFO* info) override;
  STDMETHODIMP QueryDirection(PIN_DIRECTION* result) override;
  STDMETHODIMP QueryId(LPWSTR* result) override;
  STDMETHODIMP QueryAccept(const AM_MEDIA_TYPE* type) override;
  STDMETHODIMP EnumMediaTypes(IEnumMediaTypes** result) override;
  STDMETHODIMP QueryInternalConnections(IPin** connected, ULONG* count) override;
  STDMETHODIMP EndOfStream() override;
  STDMETHODIMP BeginFlush() override;
  STDMETHODIMP EndFlush() override;
  STDMETHODIMP NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override;

  // IQualityControl
  STDMETHODIMP Notify(IBaseFilter* sender, Quality quality) override;
  STDMETHODIMP SetSink(IQualityControl* sink) override;

 protected:
  /// Also knows the pin's IUnknown, which is its IPin however it is asked for.
  IUnknown* findInterface(REFIID id) override;

  /// The pin that this one is connected to; null while it is not.
  IPin* connectedPin() const { return peer.Get(); }

  /// The type that the connection carries.
  const CMediaType& connectionType() const { return mediaType; }

  /// The segment that the samples belong to: the last NewSegment(). Set by the streaming thread.
  REFERENCE_TIME segmentStart = 0;
  REFERENCE_TIME segmentStop = 0;
  double segmentRate = 1.0;

 private:
  struct TypeSource;

  HRESULT checkReady() const;
  HRESULT checkType(const CMediaType& type);
  HRESULT tryTypes(IPin* receiver, IEnumMediaTypes& types, const AM_MEDIA_TYPE* pattern);
  HRESULT join(IPin* other, const CMediaType& type, bool asConnector);
  HRESULT agree(IPin* other, const CMediaType& type, bool asConnector);
  void separate();

  const PIN_DIRECTION pinDirection;
  const std::wstring pinName;
  // Changed with both locks of the filter held.
  Microsoft::WRL::ComPtr<IPin> peer;
  CMediaType mediaType;
  // Not counted, as the contract has it.
  IQualityControl* qualitySink = nullptr;
};

}  // namespace quillet
