#include "host/transfer/Components.h"

#include "host/transfer/HttpScheme.h"

namespace host {

namespace {

constexpr HostComponent kRows[] = {
    {L"URLhttp", &CreateHttpScheme},
};

} // namespace

std::span<const HostComponent> TransferComponents() { return kRows; }

} // namespace host
