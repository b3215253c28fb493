#include "components/STREAMConvert.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "components/FailureLog.h"
#include "core/BaseObject.h"
#include "core/Helpers.h"
#include "core/StringDataStream.h"

namespace {

// The bits each choice of a choice parameter adds to the option word, by
// the choice's index; a value outside the list adds nothing. "Header" is
// read apart: its Manual choice is work of this step, not a bit.
struct ChoiceBits {
    CSTREAMConvert::Parameter parameter;
    int32_t bits[4];
};
constexpr ChoiceBits kChoiceBits[] = {
    {CSTREAMConvert::kCompress, {0, STREAM_COMPRESS_ZLIB, STREAM_COMPRESS_RAW, 0}},
    // CBC, CTR and CFB: the transformer has one encryption.
    {CSTREAMConvert::kEncrypt, {0, STREAM_ENCRYPT, STREAM_ENCRYPT, STREAM_ENCRYPT}},
    {CSTREAMConvert::kAuthenticate, {0, STREAM_AUTHENTICATE, 0, 0}},
    {CSTREAMConvert::kMime, {0, STREAM_MIME64, STREAM_MIMEHEX, STREAM_MIME64_WIDE}},
};
constexpr int32_t kHeaderAuto = 2;

void RecordMissing(FailureLog& failures, const wchar_t* component) {
    failures.Record("cannot create", REFLiteral(component), "the host does not offer it");
    failures.Flush();
}

// Appends the whole content of `from` to `to`. Write takes at most 4 GiB
// less one byte at a time.
HRESULT AppendContent(IDataStream* from, IDataStream* to) {
    void* data = nullptr;
    unsigned long size = 0;
    HRESULT hr = from->GetStream(&data, &size);
    if (FAILED(hr)) return hr;
    auto* bytes = static_cast<const uint8_t*>(data);
    for (unsigned long done = 0; done < size && bytes;) {
        const auto chunk = static_cast<unsigned int>(std::min<unsigned long>(size - done, 0x40000000UL));
        unsigned int written = 0;
        hr = to->Write(bytes + done, chunk, &written);
        if (FAILED(hr)) return hr;
        done += chunk;
    }
    return S_OK;
}

// A new stream holding `header` as single-byte text ("ASCIIStream") followed
// by the content of `body`; null (with the failure recorded) when the host
// cannot make the pieces.
IPtr<IDataStream> WithHeader(IString* header, IDataStream* body, FailureLog& failures) {
    IPtr<IDataStream> composed = BASEObject::CreateDataStream();
    IPtr<IStreamTransform> ascii = CreateHostObject<IStreamTransform>(L"ASCIIStream");
    if (!ascii) {
        RecordMissing(failures, L"ASCIIStream");
        return {};
    }
    IPtr<IDataStream> text = BASEObject::CreateDataStream();
    if (!composed || !text) {
        RecordMissing(failures, L"DataStream");
        return {};
    }
    STREAMWriteText(text.Get(), CREFString(header));
    text->Reset(0);
    ascii->Transform(text.Get(), composed.Get(), 0);
    AppendContent(body, composed.Get());
    // Readers start at the header.
    composed->Reset(0);
    return composed;
}

} // namespace

HRESULT CSTREAMConvert::FinalConstruct() {
    IPtr<IString> name = IPtr<IString>::Adopt(ISCreate(L"Stream"));
    IPtr<IVariant> empty = IPtr<IVariant>::Adopt(CREFString::CreateVariant());
    if (!empty) return E_FAIL;
    Add(name.Get(), empty.Get(), nullptr, 0x9);
    AddIntegerParameter(L"Header", 0, PARAM_CHOICE_INTEGER, L"Off|Manual|Auto");
    AddTextParameter(L"OptionalHeader", L"", PARAM_TYPE_TEXT);
    AddIntegerParameter(L"Compress", 0, PARAM_CHOICE_INTEGER, L"Off|On|Unsigned");
    AddIntegerParameter(L"Encrypt", 0, PARAM_CHOICE_INTEGER, L"Off|CBC|CTR|CFB");
    AddTextParameter(L"Key", L"", PARAM_TYPE_TEXT);
    AddIntegerParameter(L"KeyMangel", 0, PARAM_CHOICE_INTEGER, L"Off|On|Versioned");
    AddIntegerParameter(L"Authenticate", 0, PARAM_CHOICE_INTEGER, L"Off|SHA256");
    AddIntegerParameter(L"Mime", 0, PARAM_CHOICE_INTEGER, L"Off|Mime64|MimeHex|Mimie64Unicode");
    AddIntegerParameter(L"Revert", 0, 0x13);
    // The result: an output, never written to folder streams and left out
    // of compact saves.
    AddIntegerParameter(L"OutputStream", 0, PARAM_NO_FOLDER | PARAM_COMPACT_OMIT | 0x27);
    return S_OK;
}

HRESULT CSTREAMConvert::GetPages(int32_t, INamedCollection** pages, IUnknown**) {
    return OBJECTPropertyPages(pages, {L"UIPropPages.UIParametersPropPage"});
}

IPtr<IDataStream> CSTREAMConvert::InputStream(IPtr<IUnknown>& object) {
    IPtr<IVariant> value;
    if (SUCCEEDED(get_ItemVariant(kStream, value.Out())) && value) value->get_Object(object.Out());
    if (IPtr<IDataStream> stream = object.Query<IDataStream>()) return stream;
    IPtr<IDataPersist> persist = object.Query<IDataPersist>();
    if (!object.Query<IZipFile>() || !persist) return {};
    // A zip file goes over as the archive's bytes.
    IPtr<IDataStream> stream = CreateHostObject<IDataStream>(L"DataStream");
    if (!stream) return {};
    stream->Create(nullptr, 1000, 1);
    persist->Save(stream.Get(), 0);
    stream->Reset(0);
    return stream;
}

int32_t CSTREAMConvert::OptionWord(IDataStreamEx* transformer) {
    int32_t word = 0;
    for (const ChoiceBits& row : kChoiceBits) {
        const int32_t choice = ParameterInteger(row.parameter, -1);
        if (choice < 0 || choice >= static_cast<int32_t>(std::size(row.bits))) continue;
        word |= row.bits[choice];
        if (row.parameter == kEncrypt && choice == kEncryptCBC) {
            if (IPtr<IString> key = ParameterText(kKey)) transformer->put_Key(key.Get());
        }
    }
    return word;
}

HRESULT CSTREAMConvert::Execute(CStopEvent*) {
    IPtr<IUnknown> object;
    IPtr<IDataStream> input = InputStream(object);

    const int32_t header = ParameterInteger(kHeader);
    IPtr<IString> headerText;
    if (header == kHeaderManual) headerText = ParameterText(kOptionalHeader);
    int32_t word = header == kHeaderAuto ? STREAM_AUTO_HEADER : 0;

    FailureLog failures(kObjectName);
    IPtr<IDataStreamEx> transformer = CreateHostObject<IDataStreamEx>(L"DataStreamEx");
    if (!transformer) {
        RecordMissing(failures, L"DataStreamEx");
        return S_OK;
    }
    word |= OptionWord(transformer.Get());

    // Errors of the transformer are its to report (it logs them); a failed
    // call hands back nothing, and nothing is what gets published.
    IPtr<IUnknown> result;
    if (ParameterInteger(kRevert) != 0) {
        // The manual header is not read back: it plays no part in reverse.
        transformer->RevertStream(input.Get(), result.Out(), word);
    } else {
        if (input) transformer->TransformStream(input.Get(), result.Out(), word);
        else transformer->TransformObject(object.Get(), result.Out(), 0, word);
        IPtr<IDataStream> body = result.Query<IDataStream>();
        if (body && CREFString(headerText.Get()).m_Length > 0) {
            IPtr<IDataStream> composed = WithHeader(headerText.Get(), body.Get(), failures);
            if (!composed) return S_OK;
            result = composed.Query<IUnknown>();
        }
    }
    put_Item(kOutputStream, result.Get());
    return S_OK;
}
