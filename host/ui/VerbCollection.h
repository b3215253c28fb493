// "UIVerbCollection": the verbs an object offers its user, in the order
// they were added, each a text and an action code (IUIVerbCollection). A
// null or empty text is a separator. get_Item gives a verb's text as a host
// string (empty for a separator). E_INVALIDARG for an index out of range;
// the outputs of get_Verb are then left untouched. Calls from several
// threads are serialised by the collection's own lock.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "host/base/HostObject.h"

namespace host {

class VerbCollection final : public HostObject<IUIVerbCollection> {
public:
    VerbCollection() = default;

    HRESULT get_Count(int32_t* count) override;
    HRESULT get_Item(int32_t index, IUnknown** item) override;
    HRESULT AddVerb(IString* text, int32_t code) override;
    HRESULT get_Verb(int32_t index, IString** text, int32_t* code) override;

private:
    ~VerbCollection() override = default;

    struct Verb {
        std::wstring text;
        int32_t code;
    };

    std::mutex m_lock;
    std::vector<Verb> m_verbs;
};

HRESULT CreateVerbCollection(const IID* iid, void** out);

} // namespace host
