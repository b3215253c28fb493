#include "host/parameters/Components.h"

namespace host {

// Defined beside the component each one makes.
HRESULT CreateInputParameters(const IID* iid, void** out);
HRESULT CreateParametersCreatable(const IID* iid, void** out);
HRESULT CreateInputParameter(const IID* iid, void** out);
HRESULT CreateCollectionMoniker(const IID* iid, void** out);

namespace {

constexpr HostComponent kRows[] = {
    {L"InputParameters", &CreateInputParameters},
    {L"ParametersCreatable", &CreateParametersCreatable},
    {L"InputParameter", &CreateInputParameter},
    {L"CollectionMoniker", &CreateCollectionMoniker},
};

} // namespace

std::span<const HostComponent> ParametersComponents() { return kRows; }

} // namespace host
