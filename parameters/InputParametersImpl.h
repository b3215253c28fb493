// InputParametersImpl<C, I>: the parameter collection of component C
// together with its inputs. It holds the host's "InputParameters" object
// (the component hands IID_IInputParameters on to it), binds inputs and
// input-valued parameters to a workspace (IBindableObject), saves and loads
// parameters and inputs together (IDataPersist) and makes independent
// copies of the component (IReplicableObject).
#pragma once

#include "module/Module.h"
#include "parameters/InputBinding.h"
#include "parameters/ParametersImpl.h"

template <class C, class I>
class InputParametersImpl : public IParametersImpl<C, I>,
                            public IBindableObject,
                            public IDataPersist,
                            public IReplicableObject {
public:
    // IBindableObject: binds the inputs, then the parameters' inputs, to the
    // workspace's components. Binding again rebinds.
    HRESULT Bind(INamedCollection* components, IUnknown*) override {
        ParameterBindInputs(m_pInputs.Get(), components);
        ParameterBindParameterDescriptors(static_cast<I*>(this), components);
        return S_OK;
    }

    // IDataPersist
    HRESULT Save(IDataStream* stream, int32_t options) override {
        return INPUTSave(*this, m_pInputs.Get(), m_Sectioned != 0, stream, options);
    }
    HRESULT Load(IDataStream* stream, int32_t options) override {
        return INPUTLoad(*this, m_pInputs.Get(), m_Sectioned != 0, stream, options);
    }

    // IReplicableObject: a new instance of C with this one's values,
    // descriptors and input properties. A component that cannot be made
    // gives a null copy and S_OK.
    HRESULT Replicate(IUnknown** copy) override {
        if (!copy) return E_POINTER;
        *copy = nullptr;
        IPtr<IParameters> parameters;
        if (FAILED(C::_CreateInstance(nullptr, &IID_IParameters, parameters.OutVoid())) || !parameters)
            return S_OK;
        {
            typename IParametersImpl<C, I>::ScopedLock lock(*this);
            INPUTReplicate(*this, m_pInputs.Get(), parameters.Get());
        }
        return parameters->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(copy));
    }

    // The host inputs object (borrowed), or null when the host has none.
    IInputParameters* GetInputParameters() const { return m_pInputs.Get(); }

    // Declares an input for FinalConstruct: its name and the interface its
    // value is asked for.
    HRESULT DeclareInput(const wchar_t* name, const IID& iid) {
        if (!m_pInputs) return E_FAIL;
        IPtr<IString> text = IPtr<IString>::Adopt(ISCreate(name));
        return m_pInputs->AddInput(text.Get(), &iid);
    }

    // The value the input at `index` yields, asked for its declared
    // interface, or null when it is unbound.
    IPtr<IUnknown> InputValue(int32_t index) {
        IPtr<IUnknown> value;
        if (m_pInputs && FAILED(m_pInputs->get_InputValue(index, value.Out()))) value.Release();
        return value;
    }

    // When set, parameters and inputs are kept in separate "Parameters" and
    // "Inputs" sections of folder streams, and loading XML replaces the
    // whole collection. Every component starts unsectioned; nothing in the
    // module sets it, it is there for a component that keeps a
    // self-describing parameter set.
    void SetSectioned(bool sectioned) { m_Sectioned = sectioned ? 1 : 0; }

protected:
    InputParametersImpl()
        : m_pInputs(CreateHostObject<IInputParameters>(L"InputParameters")) {}
    // The inputs go before the parameter collection.
    ~InputParametersImpl() override { m_pInputs.Release(); }

private:
    IPtr<IInputParameters> m_pInputs;
    int32_t m_Sectioned = 0;
};
