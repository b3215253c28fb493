// Shadow.so is the module's internal library linked whole; what it exports
// is marked in the sources and limited by Shadow.map.
