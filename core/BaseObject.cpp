#include "core/BaseObject.h"

#include "core/Helpers.h"
#include "parameters/InputBinding.h"

IPtr<IDataStream> BASEObject::CreateDataStream() {
    // Looked up through the host's component collection once; making a
    // stream is then one call on the component string.
    static const IPtr<IComponentString> kDataStream = [] {
        static constexpr char kName[] = "DataStream";
        IPtr<IString> name = IPtr<IString>::Adopt(ISCreate(kName, static_cast<int>(sizeof kName - 1)));
        return IPtr<IComponentString>::Adopt(GetComponentString(name.Get()));
    }();
    IPtr<IDataStream> stream;
    if (kDataStream) kDataStream->CreateInstance(&IPtr<IDataStream>::Id(), stream.OutVoid());
    return stream;
}
