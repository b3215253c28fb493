// The host's stream transforms: the stream transformer ("DataStreamEx"),
// the text transforms ("UnicodeGB2312", "ASCIIStream"), and the option bits
// both sides read. Files written with these options must stay readable by
// later versions, so the bits below never change meaning.
#pragma once

#include "Streams.h"
#include "Strings.h"

// A transform between two data streams. `Transform` encodes `source` into
// `target`, `TransformBack` decodes; both append to `target` at its current
// position and leave it there.
//
// Text transforms ("UnicodeGB2312", "ASCIIStream"):
// - Transform reads text: the source's IString when it answers one (a
//   string handed over as a stream), else its content as 32-bit characters
//   (four bytes each, the machine's order). It writes bytes.
// - TransformBack reads bytes: the source's content; a source that answers
//   IString gives one byte per character, each 0-255 (a larger character
//   fails the call). With TEXT_WIDE it writes the text as 32-bit
//   characters, and when `target` answers IString with ICreatableString the
//   text is put there as well; without TEXT_WIDE it writes UTF-8.
// A failed call writes nothing to `target` and returns E_FAIL.
struct IStreamTransform : IUnknown {
    virtual HRESULT Transform(IDataStream* source, IDataStream* target, int32_t options) = 0;
    virtual HRESULT TransformBack(IDataStream* source, IDataStream* target, int32_t options) = 0;
};

// Options of the text transforms.
enum TextTransformOptions : int32_t {
    // "ASCIIStream": encoding reads C escapes (\n \t \r \0 \\ \" \' \xHH
    // \u{H...}) as the characters they stand for; decoding writes control
    // characters, backslashes and characters above 0x7E back as escapes.
    TEXT_INTERPRET = 4,
    // Decoding writes 32-bit characters rather than UTF-8.
    TEXT_WIDE = 8,
};

// The stream transformer. Forward, the layers run in the order compression,
// encryption, authentication, MIME coding (then the automatic header in
// front); a revert undoes them in the reverse order. Results are new data
// streams handed out with one reference. A failed call hands out nothing
// (`*result` null), returns E_FAIL and writes the reason to
// "EventLogGlobal"; every failure of a revert that concerns the protected
// content (wrong key, changed or truncated bytes) has the same reason.
struct IDataStreamEx : IUnknown {
    // Transforms an object that is not a data stream: one that saves itself
    // through IDataPersist is saved into a stream first. `reserved` is 0.
    virtual HRESULT TransformObject(IUnknown* source, IUnknown** result, int32_t reserved, int32_t options) = 0;
    virtual HRESULT TransformStream(IDataStream* source, IUnknown** result, int32_t options) = 0;
    virtual HRESULT RevertStream(IDataStream* source, IUnknown** result, int32_t options) = 0;
    // The key text for encryption and keyed authentication; null forgets it.
    virtual HRESULT put_Key(IString* key) = 0;
};

// The option word of the stream transformer, bit by bit.
enum StreamOptionBits : int32_t {
    STREAM_DEFLATE = 0x40,       // compress with deflate (raw, no wrapper)
    STREAM_ENCRYPT = 0x82,       // authenticated encryption with the key
    STREAM_ZLIB_WRAPPER = 0x4000, // with STREAM_DEFLATE: the zlib format
    STREAM_MIME = 0x400,         // MIME coding: hexadecimal ...
    STREAM_AUTHENTICATE = 0x800, // a SHA-256 (keyed: HMAC-SHA-256) appended
    STREAM_AUTO_HEADER = 0x1000, // a header naming the layers, enough to revert
    STREAM_MIME_BASE64 = 0x8000, // ... with STREAM_MIME: base64 instead
    STREAM_MIME_WIDE = 0x10000,  // ... with base64: written as 32-bit characters
};

// The words the stream conversion step builds from its choices.
enum StreamOptionWords : int32_t {
    STREAM_COMPRESS_ZLIB = STREAM_DEFLATE | STREAM_ZLIB_WRAPPER,        // 0x4040
    STREAM_COMPRESS_RAW = STREAM_DEFLATE,                               // 0x40
    STREAM_MIME64 = STREAM_MIME | STREAM_MIME_BASE64,                   // 0x8400
    STREAM_MIMEHEX = STREAM_MIME,                                       // 0x400
    STREAM_MIME64_WIDE = STREAM_MIME | STREAM_MIME_BASE64 | STREAM_MIME_WIDE, // 0x18400
};

// A data stream over a file. Open maps or reads the file as the stream's
// content (later writes change the stream only, never the file). SaveStream
// writes the whole content of `content` (this stream when null) to `path`
// through a work file in the same folder that is renamed into place, so the
// file holds either its old content or all of the new. Failures answer
// IStreamErrorText with the file's name and the system's reason. The stream
// also answers IString: its bytes as characters 0-255.
struct IFileDataStream : IDataStream {
    virtual HRESULT Open(IString* path) = 0;
    virtual HRESULT SaveStream(IDataStream* content, IString* path) = 0;
};

inline const IID& FileDataStreamIID() {
    static const IID iid = __IIDOfc("IFileDataStream");
    return iid;
}

// A zip archive in memory. It saves itself as the archive's bytes and loads
// from them through IDataPersist (options 0).
struct IZipFile : IUnknown {
    // Adds every regular file and folder under `folder`, recursively, named
    // by its path relative to `folder` with "/" between folders (a folder's
    // name ends in "/"). Links are not followed
    // and not stored; other special files are left out.
    virtual HRESULT AddFolder(IString* folder) = 0;
    // Writes every entry under `folder`, creating it and the folders the
    // entries need. Entries with absolute names or ".." parts are refused,
    // existing files are never overwritten, links are never followed, and
    // each file is written to a work name and renamed when complete.
    virtual HRESULT ExtractTo(IString* folder) = 0;
};
