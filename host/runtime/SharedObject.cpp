// CollectionsEx.so: the host runtime's families and their joined component
// table; it exports only its InitializeModule and CreateFunction
// (CollectionsEx.map).
