#include "directshow/inspection/stream_renderer.h"

#include <memory>

#include <uuids.h>
#include <vfwmsgs.h>

#include "directshow/base/c_base_pin.h"

namespace quillet {
namespace {

// {3F0B5C52-6E1D-4C07-9D6A-2B8E47A1F9C3}
constexpr CLSID classOfRenderers = {0x3f0b5c52, 0x6e1d, 0x4c07, {0x9d, 0x6a, 0x2b, 0x8e, 0x47, 0xa1, 0xf9, 0xc3}};

}  // namespace

class StreamRenderer::Input : public WithInterfaces<CBasePin, IMemInputPin> {
 public:
  Input(CBaseFilter& filter, bool (*acceptable)(const AM_MEDIA_TYPE&))
      : WithInterfaces(filter, PINDIR_INPUT, L"Input"), takes(acceptable) {}

  HRESULT CheckMediaType(const CMediaType* type) override {
    return !IsEqualGUID(type->majortype, MEDIATYPE_Stream) && takes(*type) ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
  }

  // IMemInputPin. Output pins connect to no other; the graph is never run, so no sample comes.
  STDMETHODIMP GetAllocator(IMemAllocator**) override { return VFW_E_NO_ALLOCATOR; }
  STDMETHODIMP NotifyAllocator(IMemAllocator*, BOOL) override { return S_OK; }
  STDMETHODIMP GetAllocatorRequirements(ALLOCATOR_PROPERTIES*) override { return E_NOTIMPL; }
  STDMETHODIMP Receive(IMediaSample*) override { return VFW_E_WRONG_STATE; }
  STDMETHODIMP ReceiveMultiple(IMediaSample**, long, long* processed) override {
    *processed = 0;
    return VFW_E_WRONG_STATE;
  }
  STDMETHODIMP ReceiveCanBlock() override { return S_FALSE; }

 private:
  bool (*const takes)(const AM_MEDIA_TYPE&);
};

StreamRenderer::StreamRenderer(bool (*takes)(const AM_MEDIA_TYPE&)) : CBaseFilter(nullptr, classOfRenderers) {
  addPin(std::make_unique<Input>(*this, takes));
}

}  // namespace quillet
