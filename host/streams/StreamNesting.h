// How deep the persistence streams let a document nest: XML elements below
// the root element, folders and objects below the top folder of a folder
// stream.
//
// Objects saved in a stream nest inside each other, and loading one creates
// and loads the next from within its own load, so a document's depth becomes
// the depth of that recursion (and of the freeing of what was read, and of
// writing it out again). Both streams refuse a document deeper than the
// limit when they read it, and refuse a write that would go deeper, so that
// no file and no cycle of objects holding each other can exhaust the stack.
#pragma once

#include <string>

namespace host {

// The deepest level an element, folder or object may have; the root element
// or the top folder is level 0.
inline constexpr int kMaxStreamNesting = 64;

// The error text of a document or a write that would nest deeper:
// "<what> nested too deep (more than 64 levels)".
inline std::string NestingTooDeepText(const std::string& what) {
    return what + " nested too deep (more than " + std::to_string(kMaxStreamNesting) + " levels)";
}

} // namespace host
