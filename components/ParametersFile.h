// IFileArchiveImpl<C, I>: the parameters file of a component, its
// IFileArchive. A user keeps the component's parameter set in a file of its
// own and loads it back later.
//
// The file is an XML document: the declaration <?xml version="1.0"?>, the
// style-sheet instruction <?xml-stylesheet href="generic.xsl" type="text/xsl"?>,
// and a root element "Parameters" holding the compact XML save of the
// parameter set (one leaf per simple parameter, see Params_SaveXML).
//
// - Save writes the document through the host's "XMLStream", which writes a
//   work file beside the target and renames it into place: the file holds
//   its old content or all of the new one, never half of it.
// - Load sets the parameters the document names (Params_LoadXML, names
//   matched ASCII case-blind). An element that names no parameter becomes a
//   new text parameter at the end first, so that the parameters a user
//   added to a creatable collection come back with their values. Parameters
//   the document does not mention keep their values. A step that runs is
//   not loaded into (its run reads the parameters): E_FAIL, nothing changed.
// - A file that cannot be opened (read, parsed or written) is reported as
//   "file open err:\n<file>\n" on the component's line display (input 0)
//   when one is bound, and in the host's event log, followed there by the
//   stream's reason; Load and Save then return E_FAIL.
// - get_Filter is the text the component sets in FinalConstruct
//   (SetFileFilter); get_Name is the file's name without its folder.
//
// C provides kObjectName, InputValue(int), get_Index and Add (its parameter
// collection), IsRunning (its step) and the CParametersCore persistence. The
// file name is guarded by a mutex of its own: a host may set it from any
// thread.
#pragma once

#include <algorithm>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "core/Helpers.h"
#include "module/Module.h"
#include "parameters/ParametersCore.h"

// Writes the parameters file `path` for `parameters`. A failure is reported
// (see above) with `title` on `display` (may be null) and in the event log.
HRESULT PARAMFILESave(CParametersCore& parameters, std::wstring_view path, IUnknown* display, const wchar_t* title);

// Reads the parameters file `path` into a new XML stream (its top cursor
// stands on the root element); null after reporting a failure as
// PARAMFILESave does.
IPtr<IXMLStream> PARAMFILERead(std::wstring_view path, IUnknown* display, const wchar_t* title);

// The names of the root element's children, in document order.
std::vector<IPtr<IString>> PARAMFILEElementNames(IXMLStream* document);

// The last component of a path.
std::wstring_view PARAMFILEName(std::wstring_view path);

template <class C, class I = IFileArchive>
class IFileArchiveImpl : public I {
public:
    HRESULT get_Filename(IString** name) override {
        if (!name) return E_POINTER;
        *name = ISCreate(TextRef(Filename()));
        return *name ? S_OK : E_FAIL;
    }
    HRESULT put_Filename(IString* name) override {
        const CREFString text(name);
        std::lock_guard<std::mutex> lock(m_FileMutex);
        m_Filename.assign(text.m_pString ? text.m_pString : L"", static_cast<size_t>(std::max(text.m_Length, 0)));
        return S_OK;
    }
    HRESULT get_Filter(IString** filter) override {
        if (!filter) return E_POINTER;
        *filter = ISCreate(m_Filter.c_str());
        return *filter ? S_OK : E_FAIL;
    }
    HRESULT get_Name(IString** name) override {
        if (!name) return E_POINTER;
        const std::wstring path = Filename();
        *name = ISCreate(TextRef(PARAMFILEName(path)));
        return *name ? S_OK : E_FAIL;
    }

    HRESULT Load() override {
        C* object = static_cast<C*>(this);
        if (object->IsRunning()) return E_FAIL;
        IPtr<IUnknown> display = object->InputValue(0);
        IPtr<IXMLStream> document = PARAMFILERead(Filename(), display.Get(), C::kObjectName);
        if (!document) return E_FAIL;
        for (const IPtr<IString>& name : PARAMFILEElementNames(document.Get())) {
            int32_t index = -1;
            if (SUCCEEDED(object->get_Index(name.Get(), &index)) && index >= 0) continue;
            IPtr<IString> empty = IPtr<IString>::Adopt(ISCreate(L""));
            object->Add(name.Get(), empty.Get(), nullptr, PARAM_TYPE_TEXT);
        }
        IPtr<IDataStream> stream = document.template Query<IDataStream>();
        return object->Params_LoadXML(stream.Get(), 0, 0);
    }
    HRESULT Save() override {
        C* object = static_cast<C*>(this);
        IPtr<IUnknown> display = object->InputValue(0);
        return PARAMFILESave(*object, Filename(), display.Get(), C::kObjectName);
    }

protected:
    ~IFileArchiveImpl() = default;

    // The file-dialog filter get_Filter answers, for FinalConstruct.
    void SetFileFilter(const wchar_t* filter) { m_Filter = filter; }

private:
    static tagREFString TextRef(std::wstring_view text) {
        return tagREFString{static_cast<int32_t>(text.size()), const_cast<wchar_t*>(text.data())};
    }
    std::wstring Filename() const {
        std::lock_guard<std::mutex> lock(m_FileMutex);
        return m_Filename;
    }

    mutable std::mutex m_FileMutex;
    std::wstring m_Filename;
    std::wstring m_Filter;
};
