// One parameter of a component: name, value, descriptor and flags, and the
// meaning of the flag bits that the module itself gives and reads.
#pragma once

#include "sdk/Framework.h"

struct PARAMETEROBJECT final {
    IPtr<IString> m_pName;         // may be null; names are never checked
    IPtr<IVariant> m_pValue;       // the stored value
    IPtr<IUnknown> m_pDescriptor;  // choice list, bound input or nested settings; may be null
    int32_t m_Flags = 0;           // stored verbatim
};

// Orders two parameters by name: case-sensitive, by character code, a
// shorter prefix first (a null name sorts as an empty one).
int PARAMETERSCompareByName(const PARAMETEROBJECT* a, const PARAMETEROBJECT* b);

// Flag bits of a parameter. The collection stores them whole and never
// tests them; property pages and persistence read them.
enum ParameterFlags : int32_t {
    PARAM_TYPE_MASK = 0x0F,     // value-type code
    PARAM_TYPE_INTEGER = 3,     // an integer (a port, for instance)
    PARAM_TYPE_SIMPLE = 5,      // another simple value
    PARAM_TYPE_TEXT = 6,        // a text; saved as a file name in folder streams
    PARAM_TYPE_SWITCH = 7,      // an integer switch
    PARAM_TYPE_SERVER_PATH = 9, // a plain server path (the whole flags word)
    PARAM_PATH = 0x30,          // a path that may be stored relative
    PARAM_CLIENT_PATH = 0x20,
    PARAM_CHOICE = 0x40,        // the descriptor is the "|"-separated choice list
    PARAM_CHOICE_INTEGER = 0x43,
    PARAM_COLOUR = 0x23,        // the whole word: an integer colour, red in the low byte
    PARAM_INSTALL_RELATIVE = 0x100,
    PARAM_COMPACT_OMIT = 0x40000,      // compact saves leave the descriptor (or the item) out
    PARAM_NO_FOLDER = 0x04000000,      // never written to folder streams
    PARAM_NO_XML_BIT = 0x08000000,     // this bit itself is never written to XML
};

// Options of the save and load operations.
enum ParameterStreamOptions : int32_t {
    PARAMS_CSV_NAMES = 0x00010000, // CSV: "name=" before each value
    PARAMS_COMPACT = 0x00800000,   // compact save
    PARAMS_REPLACE = 0x01000000,   // load: empty the collection, append what is read
    PARAMS_APPEND = 0x10000000,    // folder load: append what is read
};
