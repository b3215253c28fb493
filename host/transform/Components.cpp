#include "host/transform/Components.h"

#include "host/transform/DataStreamEx.h"
#include "host/transform/TextTransform.h"

namespace host {

namespace {

constexpr HostComponent kRows[] = {
    {L"DataStreamEx", &CreateDataStreamEx},
    {L"UnicodeGB2312", &CreateUnicodeGb2312},
    {L"ASCIIStream", &CreateAsciiStream},
};

} // namespace

std::span<const HostComponent> TransformComponents() { return kRows; }

} // namespace host
