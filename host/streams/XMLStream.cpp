#include "host/streams/XMLStream.h"

#include <pugixml.hpp>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "host/base/HostObject.h"
#include "host/runtime/PersistedObjects.h"
#include "host/streams/DocumentBytes.h"
#include "host/streams/StreamErrorText.h"
#include "host/streams/StreamFaces.h"
#include "host/streams/StreamNesting.h"
#include "host/values/HostStrings.h"

namespace host {

namespace {

constexpr unsigned int kParseOptions = pugi::parse_default | pugi::parse_declaration | pugi::parse_pi |
                                       pugi::parse_comments | pugi::parse_ws_pcdata_single;
constexpr const char* kRootName = "Document";
constexpr const char* kObjectElement = "Object";
constexpr const char* kComponentAttribute = "Component";

bool IsNameStart(wchar_t c) {
    return (c >= L'A' && c <= L'Z') || (c >= L'a' && c <= L'z') || c == L'_' || c == L':' ||
           (c >= 0xC0 && c <= 0x10FFFF && c != 0xD7 && c != 0xF7 && !(c >= 0xD800 && c <= 0xDFFF) &&
            !(c >= 0x2000 && c <= 0x206F) && c != 0xFFFE && c != 0xFFFF);
}

bool IsNameChar(wchar_t c) {
    return IsNameStart(c) || (c >= L'0' && c <= L'9') || c == L'-' || c == L'.' || c == 0xB7;
}

bool IsXMLName(std::wstring_view name) {
    if (name.empty() || !IsNameStart(name.front())) return false;
    return std::all_of(name.begin() + 1, name.end(), IsNameChar);
}

std::wstring ViewText(tagREFString name) {
    if (name.m_Length <= 0 || !name.m_pString) return {};
    return std::wstring(name.m_pString, static_cast<size_t>(name.m_Length));
}

struct StringWriter final : pugi::xml_writer {
    std::string text;
    void write(const void* data, size_t size) override { text.append(static_cast<const char*>(data), size); }
};

// "line 3, column 7" of the byte at `offset` of `bytes`.
std::string Position(std::string_view bytes, ptrdiff_t offset) {
    const size_t end = std::min(static_cast<size_t>(std::max<ptrdiff_t>(offset, 0)), bytes.size());
    size_t line = 1, column = 1;
    for (size_t i = 0; i < end; ++i) {
        if (bytes[i] == '\n') {
            ++line;
            column = 1;
        } else {
            ++column;
        }
    }
    return "line " + std::to_string(line) + ", column " + std::to_string(column);
}

// "line 3, column 7: <what went wrong>" for a failed parse of `bytes`.
std::string DescribeParseError(const pugi::xml_parse_result& result, std::string_view bytes) {
    return Position(bytes, result.offset) + ": " + result.description();
}

std::string TooDeepText() { return NestingTooDeepText("elements are"); }

// True when `bytes` hold anything but blanks outside of "<...>" markup.
bool HasTextOutsideMarkup(std::string_view bytes) {
    if (bytes.substr(0, 3) == "\xEF\xBB\xBF") bytes.remove_prefix(3);
    bool inMarkup = false;
    for (char c : bytes) {
        if (inMarkup) {
            inMarkup = c != '>';
        } else if (c == '<') {
            inMarkup = true;
        } else if (c != ' ' && c != '\t' && c != '\r' && c != '\n') {
            return true;
        }
    }
    return false;
}

bool IsElement(pugi::xml_node node) { return node.type() == pugi::node_element; }

pugi::xml_node FirstElementChild(pugi::xml_node node) {
    pugi::xml_node child = node.first_child();
    while (child && !IsElement(child)) child = child.next_sibling();
    return child;
}

pugi::xml_node NextElementSibling(pugi::xml_node node) {
    pugi::xml_node next = node.next_sibling();
    while (next && !IsElement(next)) next = next.next_sibling();
    return next;
}

// How many elements enclose `node` (0 for the root element).
int ElementDepth(pugi::xml_node node) {
    int depth = 0;
    for (pugi::xml_node parent = node.parent(); parent && IsElement(parent); parent = parent.parent()) ++depth;
    return depth;
}

// The first element, in document order, nested deeper below `root` than
// the streams allow; a null node when there is none. The walk follows the
// parent links instead of recursing, so that a document of any depth is
// checked, and it never goes below the first level too deep.
pugi::xml_node FirstTooDeep(pugi::xml_node root) {
    int depth = 0;
    pugi::xml_node node = root;
    while (node) {
        if (pugi::xml_node child = FirstElementChild(node)) {
            if (++depth > kMaxStreamNesting) return child;
            node = child;
            continue;
        }
        while (node != root && !NextElementSibling(node)) {
            node = node.parent();
            --depth;
        }
        if (node == root) break;
        node = NextElementSibling(node);
    }
    return {};
}

// The document shared by a stream and every cursor made from it.
class XMLDocumentState final : public SerialisedDocument {
public:
    XMLDocumentState() : m_doc(std::make_unique<pugi::xml_document>()) {}

    uint64_t Revision() const override { return m_revision; }

    std::string Serialise() override {
        StringWriter writer;
        m_doc->save(writer, "  ", pugi::format_default, pugi::encoding_utf8);
        return std::move(writer.text);
    }

    bool Replace(std::string_view bytes, std::string& error) override {
        auto parsed = std::make_unique<pugi::xml_document>();
        pugi::xml_parse_result result =
            parsed->load_buffer(bytes.data(), bytes.size(), kParseOptions, pugi::encoding_auto);
        // A document without any element (an empty file, or only a
        // declaration) is an empty document, which is what saving an empty
        // document writes; text without any element is not.
        if (!result && (result.status != pugi::status_no_document_element || HasTextOutsideMarkup(bytes))) {
            error = DescribeParseError(result, bytes);
            return false;
        }
        // Checked before the document is taken, so that nothing deeper ever
        // reaches the objects that load themselves from it.
        if (pugi::xml_node deep = FirstTooDeep(parsed->document_element())) {
            error = Position(bytes, deep.offset_debug()) + ": " + TooDeepText();
            return false;
        }
        m_doc.swap(parsed);
        Replaced();
        return true;
    }

    void Clear() override {
        m_doc = std::make_unique<pugi::xml_document>();
        Replaced();
    }

    pugi::xml_node Root() const { return m_doc->document_element(); }

    pugi::xml_node EnsureRoot() {
        pugi::xml_node root = Root();
        if (!root) {
            root = m_doc->append_child(kRootName);
            Changed();
        }
        return root;
    }

    void Changed() { ++m_revision; }
    uint64_t Generation() const { return m_generation; }

    DocumentBytes bytes;
    ArchiveFile file{L"XML Files (*.xml)|*.xml|All Files (*.*)|*.*||"};
    std::string error;

private:
    void Replaced() {
        ++m_generation;
        ++m_revision;
    }

    std::unique_ptr<pugi::xml_document> m_doc;
    uint64_t m_generation = 0;
    uint64_t m_revision = 0;
};

class XMLStream final : public HostObject<XMLCursorFace, IDataStream, FileArchiveFace, IStreamErrorText> {
public:
    XMLStream() : m_state(std::make_shared<XMLDocumentState>()), m_top(true), m_generation(m_state->Generation()) {}
    XMLStream(std::shared_ptr<XMLDocumentState> state, pugi::xml_node node)
        : m_state(std::move(state)), m_top(false), m_node(node), m_generation(m_state->Generation()) {}

    // ---- IXMLStream: writing
    HRESULT WriteElement(tagREFString name, IString* text) override {
        pugi::xml_node element;
        HRESULT hr = AppendElement(name, element);
        if (FAILED(hr)) return hr;
        const std::string value = ToUtf8(ToWide(text));
        if (!value.empty()) element.text().set(value.c_str());
        return S_OK;
    }

    HRESULT OpenElement(tagREFString name) override {
        pugi::xml_node element;
        HRESULT hr = AppendElement(name, element);
        if (SUCCEEDED(hr)) m_open.push_back(element);
        return hr;
    }

    HRESULT OpenObjectElement(IUnknown* object) override {
        HRESULT hr = Prepare();
        if (FAILED(hr)) return hr;
        PersistableObject described;
        std::string error;
        if (!DescribePersistable(object, described, error)) return Fail(E_FAIL, "cannot write the object: " + error);
        pugi::xml_node parent = WriteTarget();
        if (ElementDepth(parent) >= kMaxStreamNesting)
            return Fail(E_FAIL, "cannot write the object of component '" + ToUtf8(described.component) +
                                    "': " + TooDeepText());
        pugi::xml_node element = parent.append_child(kObjectElement);
        element.append_attribute(kComponentAttribute).set_value(ToUtf8(described.component).c_str());
        m_state->Changed();
        m_open.push_back(element);
        return S_OK;
    }

    HRESULT CloseElement() override {
        HRESULT hr = Prepare();
        if (FAILED(hr)) return hr;
        if (m_open.empty()) return Fail(E_FAIL, "no element is open on this cursor");
        m_open.pop_back();
        return S_OK;
    }

    // ---- IXMLStream: reading
    HRESULT FirstChild(IXMLStream** child) override {
        if (!child) return E_POINTER;
        *child = nullptr;
        HRESULT hr = Prepare();
        if (FAILED(hr)) return hr;
        pugi::xml_node first = FirstElementChild(ReadNode());
        if (!first) return E_FAIL;
        IPtr<IXMLStream> made;
        hr = CreateHostComponent<XMLStream>(made, m_state, first);
        *child = made.Detach();
        return hr;
    }

    HRESULT Next() override {
        HRESULT hr = Prepare();
        if (FAILED(hr)) return hr;
        if (m_top) return E_FAIL;
        pugi::xml_node next = NextElementSibling(m_node);
        if (!next) return E_FAIL;
        m_node = next;
        m_open.clear();
        return S_OK;
    }

    HRESULT get_Text(IString** text) override {
        if (!text) return E_POINTER;
        *text = nullptr;
        HRESULT hr = Prepare();
        if (FAILED(hr)) return hr;
        pugi::xml_node node = ReadNode();
        if (!node) return E_FAIL;
        std::string value;
        for (pugi::xml_node part = node.first_child(); part; part = part.next_sibling())
            if (part.type() == pugi::node_pcdata || part.type() == pugi::node_cdata) value += part.value();
        *text = MakeString(FromUtf8(value)).Detach();
        return *text ? S_OK : E_FAIL;
    }

    HRESULT CreateObject(IUnknown** object) override {
        if (!object) return E_POINTER;
        *object = nullptr;
        HRESULT hr = Prepare();
        if (FAILED(hr)) return hr;
        pugi::xml_node node = ReadNode();
        pugi::xml_attribute component = node.attribute(kComponentAttribute);
        if (!node || !component)
            return Fail(E_FAIL, std::string("the element <") + node.name() + "> does not describe an object");
        IPtr<IDataStream> cursor;
        hr = CreateHostComponent<XMLStream>(cursor, m_state, node);
        if (FAILED(hr)) return hr;
        std::string error;
        hr = CreatePersisted(FromUtf8(component.value()), cursor.Get(), object, error);
        return FAILED(hr) ? Fail(hr, error) : hr;
    }

    // ---- IDataStream: the serialised document
    HRESULT Create(void* buffer, unsigned long size, short) override {
        return m_state->bytes.Create(*m_state, buffer, size);
    }
    HRESULT Reset(short clear) override { return m_state->bytes.Reset(*m_state, clear != 0); }
    HRESULT Seek(long offset, unsigned int origin, unsigned long* position) override {
        std::string error;
        HRESULT hr = m_state->bytes.Seek(*m_state, offset, origin, position, error);
        return error.empty() ? hr : Fail(hr, error);
    }
    HRESULT GetStream(void** data, unsigned long* size) override {
        std::string error;
        HRESULT hr = m_state->bytes.GetStream(*m_state, data, size, error);
        return error.empty() ? hr : Fail(hr, error);
    }
    HRESULT Read(void* data, unsigned int size, unsigned int* read) override {
        std::string error;
        HRESULT hr = m_state->bytes.Read(*m_state, data, size, read, error);
        return error.empty() ? hr : Fail(hr, error);
    }
    HRESULT Write(const void* data, unsigned int size, unsigned int* written) override {
        return m_state->bytes.Write(data, size, written);
    }

    // ---- IFileArchive
    HRESULT Load() override {
        if (!m_state->file.HasFile()) return Fail(E_FAIL, "no file name is set");
        const std::string path = m_state->file.Path();
        std::string content, error;
        if (!ReadWholeFile(path, content, error)) return Fail(E_FAIL, error);
        if (!m_state->Replace(content, error)) return Fail(E_FAIL, path + ": " + error);
        m_state->bytes.DropInput();
        m_state->error.clear();
        return S_OK;
    }

    HRESULT Save() override {
        std::string error;
        if (FAILED(m_state->bytes.TakeInput(*m_state, error))) return Fail(E_FAIL, error);
        if (!ReplaceFile(m_state->file.Path(), m_state->Serialise(), error)) return Fail(E_FAIL, error);
        m_state->error.clear();
        return S_OK;
    }

    // ---- IStreamErrorText
    HRESULT get_ErrorText(IString** text) override { return AnswerErrorText(m_state->error, text); }

protected:
    HRESULT get_ElementName(IString** name) override {
        if (!name) return E_POINTER;
        *name = nullptr;
        HRESULT hr = Prepare();
        if (FAILED(hr)) return hr;
        pugi::xml_node node = ReadNode();
        if (!node) return E_FAIL;
        *name = MakeString(FromUtf8(node.name())).Detach();
        return *name ? S_OK : E_FAIL;
    }

    ArchiveFile& Archive() override { return m_state->file; }

private:
    HRESULT Fail(HRESULT hr, std::string message) {
        m_state->error = std::move(message);
        return hr;
    }

    // Every cursor operation first parses collected input and checks that
    // the cursor's element still belongs to the document.
    HRESULT Prepare() {
        std::string error;
        if (FAILED(m_state->bytes.TakeInput(*m_state, error))) return Fail(E_FAIL, error);
        if (m_generation != m_state->Generation()) {
            if (!m_top) return Fail(E_FAIL, "the document of this cursor has been replaced");
            m_open.clear();
            m_generation = m_state->Generation();
        }
        return S_OK;
    }

    pugi::xml_node ReadNode() const { return m_top ? m_state->Root() : m_node; }

    pugi::xml_node WriteTarget() {
        if (!m_open.empty()) return m_open.back();
        return m_top ? m_state->EnsureRoot() : m_node;
    }

    HRESULT AppendElement(tagREFString name, pugi::xml_node& element) {
        HRESULT hr = Prepare();
        if (FAILED(hr)) return hr;
        const std::wstring text = ViewText(name);
        if (!IsXMLName(text)) return Fail(E_INVALIDARG, "'" + ToUtf8(text) + "' is not an XML element name");
        pugi::xml_node parent = WriteTarget();
        if (ElementDepth(parent) >= kMaxStreamNesting)
            return Fail(E_FAIL, "cannot write <" + ToUtf8(text) + ">: " + TooDeepText());
        element = parent.append_child(ToUtf8(text).c_str());
        m_state->Changed();
        return S_OK;
    }

    std::shared_ptr<XMLDocumentState> m_state;
    const bool m_top;
    pugi::xml_node m_node; // the element of a cursor other than the top one
    uint64_t m_generation;
    std::vector<pugi::xml_node> m_open;
};

} // namespace

HRESULT CreateXMLStream(const IID* iid, void** out) { return CreateHostComponent<XMLStream>(iid, out); }

} // namespace host
