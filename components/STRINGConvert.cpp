#include "components/STRINGConvert.h"

#include "core/BaseObject.h"
#include "core/Helpers.h"
#include "core/StringDataStream.h"

namespace {

// An inner stream holding `text` as 32-bit characters, at its start, for a
// CStringDataStream over that text; null when the host cannot make one.
IPtr<IDataStream> TextContent(IString* text) {
    IPtr<IDataStream> inner = BASEObject::CreateDataStream();
    if (inner) {
        STREAMWriteText(inner.Get(), CREFString(text));
        inner->Reset(0);
    }
    return inner;
}

} // namespace

HRESULT CSTRINGConvert::FinalConstruct() {
    IPtr<IString> name = IPtr<IString>::Adopt(ISCreate(L"InStrng"));
    IPtr<IVariant> empty = IPtr<IVariant>::Adopt(CREFString::CreateVariant());
    if (!empty) return E_FAIL;
    Add(name.Get(), empty.Get(), nullptr, 9);
    AddIntegerParameter(L"OutString", 0, 9);
    AddIntegerParameter(L"Conversion", kInterpret, PARAM_CHOICE_INTEGER, L"Off|CB2312|Interpret|Mime64|MimeHex");
    AddIntegerParameter(L"Revert", 0, 0x13);
    return S_OK;
}

HRESULT CSTRINGConvert::GetPages(int32_t, INamedCollection** pages, IUnknown**) {
    return OBJECTPropertyPages(pages, {L"UIPropPages.UIParametersPropPage"});
}

HRESULT CSTRINGConvert::Execute(CStopEvent*) {
    IPtr<IString> input = ParameterText(kInString);
    // The source: the input string, which the text transforms read through
    // IString, with its text as the stream's content for those that read
    // bytes.
    IPtr<IDataStream> sourceContent = TextContent(input.Get());
    CStringDataStream source(input.Get(), 0, sourceContent.Get());
    IPtr<IDataStream> target = BASEObject::CreateDataStream();
    // The wrapped stream forwards to its inner one unchecked: without both
    // streams no transform is called.
    const bool streams = sourceContent && target;

    // An unreadable choice is none of the listed ones.
    const int32_t conversion = ParameterInteger(kConversion, -1);
    if (conversion == kCB2312) {
        IPtr<IStreamTransform> transform = CreateHostObject<IStreamTransform>(L"UnicodeGB2312");
        const bool revert = ParameterInteger(kRevert) != 0;
        if (transform && streams) {
            if (revert) transform->TransformBack(&source, target.Get(), 0);
            else transform->Transform(&source, target.Get(), 0);
        }
        put_Item(kOutString, target.Get());
        return S_OK;
    }
    if (conversion == kInterpret) {
        IPtr<IStreamTransform> transform = CreateHostObject<IStreamTransform>(L"ASCIIStream");
        if (ParameterInteger(kRevert) != 0) {
            if (transform && streams) transform->TransformBack(&source, target.Get(), TEXT_INTERPRET);
            put_Item(kOutString, target.Get());
            return S_OK;
        }
        // Forward and back again: the decoding puts its text into the
        // changeable string the second target wraps.
        IPtr<IString> decoded = CreateHostObject<IString>(L"CreatableString");
        IPtr<IDataStream> decodedContent = BASEObject::CreateDataStream();
        CStringDataStream secondTarget(decoded.Get(), 0, decodedContent.Get());
        if (transform && streams) {
            transform->Transform(&source, target.Get(), TEXT_INTERPRET);
            // The encoding leaves the target at its end.
            target->Reset(0);
            if (decodedContent) transform->TransformBack(target.Get(), &secondTarget, TEXT_WIDE);
        }
        IPtr<IString> text;
        secondTarget.QueryInterface(IID_IString, text.OutVoid());
        IPtr<IString> copy = IPtr<IString>::Adopt(ISCreate(CREFString(text.Get())));
        put_Item(kOutString, copy.Get());
        return S_OK;
    }
    // The MIME choices are offered but not carried out here: Mime64 leaves
    // the output alone, every other value passes the input on unchanged.
    if (conversion == kMime64) return S_OK;
    put_Item(kOutString, input.Get());
    return S_OK;
}
