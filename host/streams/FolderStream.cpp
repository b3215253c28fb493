#include "host/streams/FolderStream.h"

#include <cstring>
#include <memory>
#include <string>

#include "host/base/HostObject.h"
#include "host/collections/ItemCollection.h"
#include "host/runtime/PersistedObjects.h"
#include "host/streams/DataStream.h"
#include "host/streams/DocumentBytes.h"
#include "host/streams/FolderFormat.h"
#include "host/streams/StreamErrorText.h"
#include "host/streams/StreamFaces.h"
#include "host/streams/StreamNesting.h"
#include "host/values/HostStrings.h"

namespace host {

namespace {

std::wstring ViewText(tagREFString name) {
    if (name.m_Length <= 0 || !name.m_pString) return {};
    return std::wstring(name.m_pString, static_cast<size_t>(name.m_Length));
}

std::string Quote(const std::wstring& name) { return "'" + ToUtf8(name) + "'"; }

// What the folders of one tree share.
struct FolderTreeState {
    std::shared_ptr<FolderNode> root = std::make_shared<FolderNode>();
    ArchiveFile file{L"Folder Stream Files (*.fst)|*.fst|All Files (*.*)|*.*||"};
    std::string error;
    uint64_t failures = 0; // counts the errors set, so that a caller sees whether a callee set one
    uint64_t revision = 0;
};

class FolderStream final : public HostObject<IFolderStream, IDataStream, FileArchiveFace, IStreamErrorText>,
                           private SerialisedDocument {
public:
    FolderStream() : m_state(std::make_shared<FolderTreeState>()), m_node(m_state->root) {}
    FolderStream(std::shared_ptr<FolderTreeState> state, std::shared_ptr<FolderNode> node)
        : m_state(std::move(state)), m_node(std::move(node)) {}

    // ---- IFolderStream: writing
    HRESULT WriteValue(tagREFString name, IVariant* value) override {
        if (!value) return E_POINTER;
        EntryValue stored;
        int32_t type = VARIANT_EMPTY;
        value->get_Type(&type);
        switch (type) {
        case VARIANT_EMPTY: break;
        case VARIANT_INTEGER: {
            int32_t integer = 0;
            value->get_Integer(&integer);
            stored = integer;
            break;
        }
        case VARIANT_DOUBLE: {
            double real = 0;
            value->get_Double(&real);
            stored = real;
            break;
        }
        case VARIANT_STRING: {
            IPtr<IString> text;
            value->get_String(text.Out());
            stored = TextValue{ToWide(text.Get())};
            break;
        }
        default:
            return Fail(E_INVALIDARG, "the value of " + Quote(ViewText(name)) +
                                          " is not a number or a text (objects are written as objects)");
        }
        return Put(name, std::move(stored));
    }

    HRESULT WriteRaw(tagREFString name, const void* data, unsigned int size) override {
        if (!data && size) return E_POINTER;
        RawBlock raw;
        if (size) raw.bytes.assign(static_cast<const char*>(data), size);
        return Put(name, std::move(raw));
    }

    HRESULT WriteObject(tagREFString name, IUnknown* object) override {
        HRESULT hr = Prepare();
        if (FAILED(hr)) return hr;
        const std::wstring entryName = ViewText(name);
        PersistableObject described;
        std::string error;
        if (!DescribePersistable(object, described, error))
            return Fail(E_FAIL, "cannot write the object " + Quote(entryName) + ": " + error);
        // Refused before the object saves itself, which would write its own
        // objects one level deeper again (without end for objects that hold
        // each other).
        if (!RoomForLevel()) return Fail(E_FAIL, "cannot write the object " + Quote(entryName) + ": " + TooDeepText());
        auto content = std::make_shared<FolderNode>(m_node->depth + 1);
        IPtr<IDataStream> folder;
        hr = CreateHostComponent<FolderStream>(folder, m_state, content);
        if (FAILED(hr)) return hr;
        // An object that failed for a reason this stream gave (as objects
        // nested too deep do) keeps that reason as the error text.
        const uint64_t failures = m_state->failures;
        if (FAILED(described.persist->Save(folder.Get(), 0)))
            return failures != m_state->failures
                       ? E_FAIL
                       : Fail(E_FAIL, "the object " + Quote(entryName) + " of component " +
                                          Quote(described.component) + " failed to save itself");
        return Put(name, ObjectRecord{described.component, std::move(content)});
    }

    HRESULT OpenFolder(tagREFString name, short create, IFolderStream** folder) override {
        if (!folder) return E_POINTER;
        *folder = nullptr;
        HRESULT hr = Prepare();
        if (FAILED(hr)) return hr;
        const std::wstring folderName = ViewText(name);
        std::shared_ptr<FolderNode> node;
        if (FolderEntry* entry = m_node->Find(folderName)) {
            auto* sub = std::get_if<SubFolder>(&entry->value);
            if (!sub) return Fail(E_FAIL, Quote(folderName) + " is not a folder");
            node = sub->node;
        } else {
            if (!create) return E_FAIL;
            if (folderName.empty()) return Fail(E_INVALIDARG, "a folder needs a name");
            if (!RoomForLevel())
                return Fail(E_FAIL, "cannot make the folder " + Quote(folderName) + ": " + TooDeepText());
            node = std::make_shared<FolderNode>(m_node->depth + 1);
            m_node->Append(FolderEntry{folderName, SubFolder{node}});
            ++m_state->revision;
        }
        IPtr<IFolderStream> made;
        hr = CreateHostComponent<FolderStream>(made, m_state, std::move(node));
        *folder = made.Detach();
        return hr;
    }

    // ---- IFolderStream: reading
    HRESULT ReadValue(tagREFString name, IVariant** value) override {
        if (!value) return E_POINTER;
        *value = nullptr;
        HRESULT hr = Prepare();
        if (FAILED(hr)) return hr;
        FolderEntry* entry = m_node->Find(ViewText(name));
        if (!entry) return E_FAIL;
        IPtr<IVariant> variant = NewVariant();
        if (!variant || !StoreValue(entry->value, variant.Get())) return E_FAIL;
        *value = variant.Detach();
        return S_OK;
    }

    HRESULT ReadRaw(tagREFString name, void* data, unsigned int size, unsigned int* read) override {
        if (read) *read = 0;
        HRESULT hr = Prepare();
        if (FAILED(hr)) return hr;
        FolderEntry* entry = m_node->Find(ViewText(name));
        auto* raw = entry ? std::get_if<RawBlock>(&entry->value) : nullptr;
        if (!raw) return E_FAIL;
        if (!data) {
            if (!read) return E_POINTER;
            *read = static_cast<unsigned int>(raw->bytes.size());
            return S_OK;
        }
        const size_t n = std::min<size_t>(size, raw->bytes.size());
        if (n) std::memcpy(data, raw->bytes.data(), n);
        if (read) *read = static_cast<unsigned int>(n);
        return n == raw->bytes.size() ? S_OK : S_FALSE;
    }

    HRESULT ReadObject(tagREFString name, IUnknown** object) override {
        if (!object) return E_POINTER;
        *object = nullptr;
        HRESULT hr = Prepare();
        if (FAILED(hr)) return hr;
        FolderEntry* entry = m_node->Find(ViewText(name));
        auto* record = entry ? std::get_if<ObjectRecord>(&entry->value) : nullptr;
        if (!record) return E_FAIL;
        return MakeObject(*record, object);
    }

    HRESULT get_Entries(INamedCollection** entries) override {
        if (!entries) return E_POINTER;
        *entries = nullptr;
        HRESULT hr = Prepare();
        if (FAILED(hr)) return hr;
        IPtr<ISuperCollection> list = NewCollection();
        if (!list) return E_FAIL;
        for (const FolderEntry& entry : m_node->Entries()) {
            IPtr<IUnknown> item;
            if (auto* sub = std::get_if<SubFolder>(&entry.value)) {
                IPtr<IFolderStream> folder;
                hr = CreateHostComponent<FolderStream>(folder, m_state, sub->node);
                if (FAILED(hr)) return hr;
                item.Reset(folder.Get()); // listed by its IFolderStream face
            } else {
                IPtr<IVariant> variant = NewVariant();
                if (!variant) return E_FAIL;
                if (!StoreValue(entry.value, variant.Get())) {
                    if (auto* raw = std::get_if<RawBlock>(&entry.value)) {
                        variant->put_Unknown(NewDataStream(raw->bytes).Get());
                    } else if (auto* record = std::get_if<ObjectRecord>(&entry.value)) {
                        IPtr<IUnknown> object;
                        if (SUCCEEDED(MakeObject(*record, object.Out()))) variant->put_Unknown(object.Get());
                    }
                }
                item = variant.Query<IUnknown>();
            }
            list->Add(MakeString(entry.name).Get(), item.Get(), nullptr, 0);
        }
        *entries = list.Query<INamedCollection>().Detach();
        return *entries ? S_OK : E_FAIL;
    }

    // ---- IDataStream: the text of this folder
    HRESULT Create(void* buffer, unsigned long size, short) override {
        if (m_node->detached) return DetachedFailure();
        return m_bytes.Create(*this, buffer, size);
    }
    HRESULT Reset(short clear) override {
        if (m_node->detached) return DetachedFailure();
        return m_bytes.Reset(*this, clear != 0);
    }
    HRESULT Seek(long offset, unsigned int origin, unsigned long* position) override {
        if (m_node->detached) return DetachedFailure();
        std::string error;
        HRESULT hr = m_bytes.Seek(*this, offset, origin, position, error);
        return error.empty() ? hr : Fail(hr, error);
    }
    HRESULT GetStream(void** data, unsigned long* size) override {
        if (m_node->detached) return DetachedFailure();
        std::string error;
        HRESULT hr = m_bytes.GetStream(*this, data, size, error);
        return error.empty() ? hr : Fail(hr, error);
    }
    HRESULT Read(void* data, unsigned int size, unsigned int* read) override {
        if (m_node->detached) return DetachedFailure();
        std::string error;
        HRESULT hr = m_bytes.Read(*this, data, size, read, error);
        return error.empty() ? hr : Fail(hr, error);
    }
    HRESULT Write(const void* data, unsigned int size, unsigned int* written) override {
        return m_bytes.Write(data, size, written);
    }

    // ---- IFileArchive: the whole tree
    HRESULT Load() override {
        if (!m_state->file.HasFile()) return Fail(E_FAIL, "no file name is set");
        const std::string path = m_state->file.Path();
        std::string content, error;
        if (!ReadWholeFile(path, content, error)) return Fail(E_FAIL, error);
        FolderNode parsed;
        if (!ParseFolder(content, parsed, error)) return Fail(E_FAIL, path + ": " + error);
        ReplaceEntries(*m_state->root, std::move(parsed));
        ++m_state->revision;
        m_bytes.DropInput();
        m_state->error.clear();
        return S_OK;
    }

    HRESULT Save() override {
        HRESULT hr = Prepare();
        if (FAILED(hr)) return hr;
        std::string error;
        if (!ReplaceFile(m_state->file.Path(), SerialiseFolder(*m_state->root), error)) return Fail(E_FAIL, error);
        m_state->error.clear();
        return S_OK;
    }

    // ---- IStreamErrorText
    HRESULT get_ErrorText(IString** text) override { return AnswerErrorText(m_state->error, text); }

protected:
    ArchiveFile& Archive() override { return m_state->file; }

private:
    // ---- SerialisedDocument: this folder
    uint64_t Revision() const override { return m_state->revision; }
    std::string Serialise() override { return SerialiseFolder(*m_node); }
    bool Replace(std::string_view bytes, std::string& error) override {
        FolderNode parsed(m_node->depth); // the written folders nest below this one
        if (!ParseFolder(bytes, parsed, error)) return false;
        ReplaceEntries(*m_node, std::move(parsed));
        ++m_state->revision;
        return true;
    }
    void Clear() override { ReplaceEntries(*m_node, FolderNode{}), ++m_state->revision; }

    HRESULT Fail(HRESULT hr, std::string message) {
        m_state->error = std::move(message);
        ++m_state->failures;
        return hr;
    }

    HRESULT DetachedFailure() { return Fail(E_FAIL, "this folder has been taken out of its stream"); }

    // Whether a folder or an object may open one level below this folder.
    bool RoomForLevel() const { return m_node->depth < kMaxStreamNesting; }
    static std::string TooDeepText() { return NestingTooDeepText("folders and objects are"); }

    // Every folder operation first parses bytes written to this folder and
    // checks that the folder is still part of its tree.
    HRESULT Prepare() {
        if (m_node->detached) return DetachedFailure();
        std::string error;
        if (FAILED(m_bytes.TakeInput(*this, error))) return Fail(E_FAIL, error);
        return S_OK;
    }

    HRESULT Put(tagREFString name, EntryValue value) {
        HRESULT hr = Prepare();
        if (FAILED(hr)) return hr;
        std::wstring entryName = ViewText(name);
        if (entryName.empty()) return Fail(E_INVALIDARG, "an entry needs a name");
        if (FolderEntry* entry = m_node->Find(entryName)) {
            if (std::holds_alternative<SubFolder>(entry->value))
                return Fail(E_FAIL, Quote(entryName) + " is a folder and is not replaced by a value");
            DetachValue(entry->value);
            entry->name = std::move(entryName);
            entry->value = std::move(value);
        } else {
            m_node->Append(FolderEntry{std::move(entryName), std::move(value)});
        }
        ++m_state->revision;
        return S_OK;
    }

    // Sets `variant` from a plain value; false for other kinds of entries.
    static bool StoreValue(const EntryValue& value, IVariant* variant) {
        if (std::holds_alternative<std::monostate>(value)) return SUCCEEDED(variant->Clear());
        if (auto* integer = std::get_if<int32_t>(&value)) return SUCCEEDED(variant->put_Integer(*integer));
        if (auto* real = std::get_if<double>(&value)) return SUCCEEDED(variant->put_Double(*real));
        if (auto* text = std::get_if<TextValue>(&value)) return SUCCEEDED(variant->put_String(MakeString(text->text).Get()));
        return false;
    }

    HRESULT MakeObject(const ObjectRecord& record, IUnknown** object) {
        IPtr<IDataStream> content;
        HRESULT hr = CreateHostComponent<FolderStream>(content, m_state, record.content);
        if (FAILED(hr)) return hr;
        std::string error;
        hr = CreatePersisted(record.component, content.Get(), object, error);
        return FAILED(hr) ? Fail(hr, error) : hr;
    }

    std::shared_ptr<FolderTreeState> m_state;
    std::shared_ptr<FolderNode> m_node;
    DocumentBytes m_bytes;
};

} // namespace

HRESULT CreateFolderStream(const IID* iid, void** out) { return CreateHostComponent<FolderStream>(iid, out); }

} // namespace host
