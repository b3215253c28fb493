// Files as the command line hands them to components and takes results
// back: through the host's "File" data stream, which maps a file for
// reading and writes a file through a work file renamed into place.
#pragma once

#include <string>

#include "sdk/Framework.h"

namespace cli {

class HostRuntime;

// The file's content as a data stream. Throws CliError (exit code 1) with
// the file's name and the system's reason when it cannot be read.
IPtr<IFileDataStream> OpenFileStream(const HostRuntime& runtime, const std::string& path);

// Writes the whole content of `content` to `path`; the file holds its old
// content or all of the new one, never a part. Throws CliError on failure.
void SaveStreamToFile(const HostRuntime& runtime, IDataStream* content, const std::string& path);

// Writes a parameter's value to `path`: a data stream as its bytes, a
// string as UTF-8 text. Throws CliError when the value is neither (an
// empty value: the component produced nothing) or cannot be written.
void SaveValueToFile(const HostRuntime& runtime, IVariant* value, const std::string& what, const std::string& path);

// The reason a host object gives for its last failure (IStreamErrorText),
// or `fallback` when it gives none.
std::string StreamFailureText(IUnknown* object, const std::string& fallback);

// The number of bytes a data stream holds.
unsigned long StreamSize(IDataStream* stream);

} // namespace cli
