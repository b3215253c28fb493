// CollectionsEx.so is the host runtime's internal library linked whole; it
// exports only its InitializeModule and CreateFunction (CollectionsEx.map).
