// Maps each interface type to its identifier and its parent interface, so
// that generic code can answer QueryInterface for an interface and all the
// interfaces it derives from.
#pragma once

#include "Framework.h"

template <class T>
struct InterfaceInfo;

template <>
struct InterfaceInfo<IUnknown> {
    static const IID& Id() { return IID_IUnknown; }
};

#define SHADOW_INTERFACE_INFO(I, P)                        \
    template <>                                            \
    struct InterfaceInfo<I> {                              \
        using Parent = P;                                  \
        static const IID& Id() { return IID_##I; }         \
    };

SHADOW_INTERFACE_INFO(IString, IUnknown)
SHADOW_INTERFACE_INFO(ICreatableString, IString)
SHADOW_INTERFACE_INFO(IComponentString, IUnknown)
SHADOW_INTERFACE_INFO(IVariant, IUnknown)
SHADOW_INTERFACE_INFO(ISimpleCollection, IUnknown)
SHADOW_INTERFACE_INFO(INamedCollection, ISimpleCollection)
SHADOW_INTERFACE_INFO(ISuperCollection, INamedCollection)
SHADOW_INTERFACE_INFO(IStringCollection, ISimpleCollection)
SHADOW_INTERFACE_INFO(IComponentCollection, INamedCollection)
SHADOW_INTERFACE_INFO(IObjectInfo, IUnknown)
SHADOW_INTERFACE_INFO(IUIPropertyPageSpecify, IUnknown)
SHADOW_INTERFACE_INFO(IUILineDisplayable, IUnknown)
SHADOW_INTERFACE_INFO(IUIRefreshableObject, IUnknown)
SHADOW_INTERFACE_INFO(IEventSource, IUnknown)
SHADOW_INTERFACE_INFO(IFileArchive, IUnknown)
SHADOW_INTERFACE_INFO(IWorkspace, IUnknown)
SHADOW_INTERFACE_INFO(IDataStream, IUnknown)
SHADOW_INTERFACE_INFO(IDataPersist, IUnknown)
SHADOW_INTERFACE_INFO(IXMLStream, IUnknown)
SHADOW_INTERFACE_INFO(IFolderStream, IUnknown)
SHADOW_INTERFACE_INFO(ICSVStream, IUnknown)
SHADOW_INTERFACE_INFO(IParameters, INamedCollection)
SHADOW_INTERFACE_INFO(IParametersCreatable, IParameters)
SHADOW_INTERFACE_INFO(ICollectionMoniker, IUnknown)
SHADOW_INTERFACE_INFO(IInputParameter, IUnknown)
SHADOW_INTERFACE_INFO(IInputParameters, INamedCollection)
SHADOW_INTERFACE_INFO(IBindableObject, IUnknown)
SHADOW_INTERFACE_INFO(IReplicableObject, IUnknown)
SHADOW_INTERFACE_INFO(IRegistry, IUnknown)
SHADOW_INTERFACE_INFO(IRegistryEx, IRegistry)
SHADOW_INTERFACE_INFO(IFileAttributes, IUnknown)
SHADOW_INTERFACE_INFO(IExtCollection, IUnknown)
SHADOW_INTERFACE_INFO(IFileNameCollection, IUnknown)
SHADOW_INTERFACE_INFO(IStep, IUnknown)
SHADOW_INTERFACE_INFO(IShadow, IUnknown)
SHADOW_INTERFACE_INFO(IStreamTransform, IUnknown)
SHADOW_INTERFACE_INFO(IDataStreamEx, IUnknown)
SHADOW_INTERFACE_INFO(IZipFile, IUnknown)
SHADOW_INTERFACE_INFO(IFileArchiveScheme, IUnknown)
SHADOW_INTERFACE_INFO(_IUIProgressEvent, IUnknown)
SHADOW_INTERFACE_INFO(IURLLink, IUnknown)
SHADOW_INTERFACE_INFO(IOSUtils, IUnknown)
SHADOW_INTERFACE_INFO(IUIUtils, IUnknown)
SHADOW_INTERFACE_INFO(IUIManager, IUnknown)
SHADOW_INTERFACE_INFO(IRenderableObjectEntity, IUnknown)
SHADOW_INTERFACE_INFO(IUIVerbCollection, ISimpleCollection)
SHADOW_INTERFACE_INFO(IUIVerbCollectionSpecify, IUnknown)
SHADOW_INTERFACE_INFO(IFASService, IUnknown)

#undef SHADOW_INTERFACE_INFO

template <>
struct InterfaceInfo<IStreamErrorText> {
    using Parent = IUnknown;
    static const IID& Id() { return StreamErrorTextIID(); }
};

template <>
struct InterfaceInfo<IFileDataStream> {
    using Parent = IDataStream;
    static const IID& Id() { return FileDataStreamIID(); }
};

// True when `iid` names I or one of the interfaces I derives from (other
// than IUnknown).
template <class I>
bool InterfaceAnswers(const IID& iid) {
    if constexpr (std::is_same_v<I, IUnknown>) {
        return false;
    } else {
        return iid == InterfaceInfo<I>::Id() || InterfaceAnswers<typename InterfaceInfo<I>::Parent>(iid);
    }
}
