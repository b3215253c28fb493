#include "host/transfer/Components.h"

#include "host/transfer/FileScheme.h"
#include "host/transfer/HttpScheme.h"
#include "host/transfer/UrlLink.h"

namespace host {

namespace {

constexpr HostComponent kRows[] = {
    {L"URLhttp", &CreateHttpScheme},
    {L"URLFile", &CreateFileScheme},
    {L"URLLink", &CreateUrlLink},
};

} // namespace

std::span<const HostComponent> TransferComponents() { return kRows; }

} // namespace host
