#include "host/streams/Components.h"

namespace host {

// Defined beside the component each one makes.
HRESULT CreateCSVStream(const IID* iid, void** out);
HRESULT CreateXMLStream(const IID* iid, void** out);
HRESULT CreateDataStream(const IID* iid, void** out);
HRESULT CreateFolderStream(const IID* iid, void** out);
HRESULT CreateFileDataStream(const IID* iid, void** out);
HRESULT CreateZipFile(const IID* iid, void** out);

namespace {

constexpr HostComponent kRows[] = {
    {L"CSVStream", &CreateCSVStream},
    {L"XMLStream", &CreateXMLStream},
    {L"DataStream", &CreateDataStream},
    {L"FolderStream", &CreateFolderStream},
    {L"File", &CreateFileDataStream},
    {L"ZipFile", &CreateZipFile},
};

} // namespace

std::span<const HostComponent> StreamsComponents() { return kRows; }

} // namespace host
