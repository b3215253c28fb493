#include "core/BaseObject.h"

#include "core/Helpers.h"
#include "parameters/InputBinding.h"

namespace {

// The host's component string registered under `name` (ASCII), or null.
template <size_t N>
IPtr<IComponentString> ComponentNamed(const char (&name)[N]) {
    IPtr<IString> text = IPtr<IString>::Adopt(ISCreate(name, static_cast<int>(N - 1)));
    return IPtr<IComponentString>::Adopt(GetComponentString(text.Get()));
}

} // namespace

IPtr<IDataStream> BASEObject::CreateDataStream() {
    // Looked up through the host's component collection once; making a
    // stream is then one call on the component string.
    static const IPtr<IComponentString> kDataStream = ComponentNamed("DataStream");
    IPtr<IDataStream> stream;
    if (kDataStream) kDataStream->CreateInstance(&IPtr<IDataStream>::Id(), stream.OutVoid());
    return stream;
}

IPtr<IParametersCreatable> BASEObject::CreateParameters() {
    static const IPtr<IComponentString> kParameters = ComponentNamed("ParametersCreatable");
    IPtr<IParametersCreatable> parameters;
    if (kParameters) kParameters->CreateInstance(&IPtr<IParametersCreatable>::Id(), parameters.OutVoid());
    return parameters;
}
