// Inputs: binding a component's inputs and input-valued parameters to the
// components of a workspace, saving, loading and copying parameters with
// their inputs, and the shortcuts components use to read a text parameter
// and to find a host component by name.
#pragma once

#include "parameters/ParametersCore.h"

// Binds the moniker of every input of `inputs` (an IInputParameters) to
// `collection` (an INamedCollection). Entries missing any piece are passed
// over. Returns S_OK.
HRESULT ParameterBindInputs(IUnknown* inputs, IUnknown* collection);

// Binds the moniker of every parameter of `component` whose descriptor is
// an input. Returns S_OK.
HRESULT ParameterBindParameterDescriptors(IUnknown* component, IUnknown* collection);

// The text of `component`'s parameter found by `key` (name, variant or
// object), with one reference. E_INVALIDARG for a component without
// parameters; E_FAIL when the parameter is missing, holds no text, or (with
// nonEmpty) holds an empty one.
HRESULT PARAMString(IUnknown* component, IUnknown* key, IString** text, bool nonEmpty);

// The component string of the host component of that name (one reference),
// or null when the name is unknown.
IComponentString* GetComponentString(IString* name);

// Copies an input's four properties (name, interface, source component and
// source parameter) onto another input, each one that can be read.
void INPUTCopyProperties(IInputParameter* from, IInputParameter* to);

// The persistence of a component with inputs (its IDataPersist). With
// `sectioned` the parameters and the inputs go to the sub-folders
// "Parameters" and "Inputs" of a folder stream.
HRESULT INPUTSave(CParametersCore& parameters, IInputParameters* inputs, bool sectioned, IDataStream* stream,
                  int32_t options);
// E_NOTIMPL for a stream that is neither an XML nor a folder stream.
HRESULT INPUTLoad(CParametersCore& parameters, IInputParameters* inputs, bool sectioned, IDataStream* stream,
                  int32_t options);

// Fills `copy`, a new instance of the same component, with the values,
// descriptors and inputs of `source`; bound inputs are copied into new
// inputs, never shared.
void INPUTReplicate(CParametersCore& source, IInputParameters* inputs, IParameters* copy);
