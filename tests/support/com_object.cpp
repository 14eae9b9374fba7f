#include "support/com_object.h"

#include <stdexcept>

namespace quillet::test {
namespace {

class ClassObject : public ComObject<IClassFactory> {
 public:
  explicit ClassObject(ClassObjectOverride::Create create) : create(std::move(create)) {}

  STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
    return outer == nullptr ? create(iid, object) : CLASS_E_NOAGGREGATION;
  }
  STDMETHODIMP LockServer(BOOL) override { return S_OK; }

 private:
  ClassObjectOverride::Create create;
};

}  // namespace

ClassObjectOverride::ClassObjectOverride(const CLSID& clsid, Create create) {
  if (FAILED(CoRegisterClassObject(clsid, makeClassObject(std::move(create)).Get(), CLSCTX_INPROC_SERVER,
                                   REGCLS_MULTIPLEUSE, &cookie))) {
    throw std::runtime_error("the class object cannot be registered: is this thread in the multithreaded apartment?");
  }
}

ClassObjectOverride::~ClassObjectOverride() {
  CoRevokeClassObject(cookie);
}

Microsoft::WRL::ComPtr<IClassFactory> makeClassObject(ClassObjectOverride::Create create) {
  return makeCom<ClassObject>(std::move(create));
}

}  // namespace quillet::test
