// Character encodings and glyph names (ISO 32000-1, annex D; Adobe Glyph List).
#include "optimizer/font/encodings.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace optimizer::font {

namespace {

using Table = std::array<std::string_view, 256>;

constexpr Table kStandard = {
    "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "",
    "", "", "", "", "", "", "space", "exclam", "quotedbl", "numbersign", "dollar", "percent", "ampersand",
    "quoteright", "parenleft", "parenright", "asterisk", "plus", "comma", "hyphen", "period", "slash", "zero",
    "one", "two", "three", "four", "five", "six", "seven", "eight", "nine", "colon", "semicolon", "less",
    "equal", "greater", "question", "at", "A", "B", "C", "D", "E", "F", "G", "H", "I", "J", "K", "L", "M",
    "N", "O", "P", "Q", "R", "S", "T", "U", "V", "W", "X", "Y", "Z", "bracketleft", "backslash",
    "bracketright", "asciicircum", "underscore", "quoteleft", "a", "b", "c", "d", "e", "f", "g", "h", "i",
    "j", "k", "l", "m", "n", "o", "p", "q", "r", "s", "t", "u", "v", "w", "x", "y", "z", "braceleft", "bar",
    "braceright", "asciitilde", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "",
    "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "exclamdown", "cent", "sterling", "fraction",
    "yen", "florin", "section", "currency", "quotesingle", "quotedblleft", "guillemotleft", "guilsinglleft",
    "guilsinglright", "fi", "fl", "", "endash", "dagger", "daggerdbl", "periodcentered", "", "paragraph",
    "bullet", "quotesinglbase", "quotedblbase", "quotedblright", "guillemotright", "ellipsis", "perthousand",
    "", "questiondown", "", "grave", "acute", "circumflex", "tilde", "macron", "breve", "dotaccent",
    "dieresis", "", "ring", "cedilla", "", "hungarumlaut", "ogonek", "caron", "emdash", "", "", "", "", "",
    "", "", "", "", "", "", "", "", "", "", "", "AE", "", "ordfeminine", "", "", "", "", "Lslash", "Oslash",
    "OE", "ordmasculine", "", "", "", "", "", "ae", "", "", "", "dotlessi", "", "", "lslash", "oslash", "oe",
    "germandbls", "", "", "", "",
};

constexpr Table kWinAnsi = {
    "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "",
    "", "", "", "", "", "", "space", "exclam", "quotedbl", "numbersign", "dollar", "percent", "ampersand",
    "quotesingle", "parenleft", "parenright", "asterisk", "plus", "comma", "hyphen", "period", "slash",
    "zero", "one", "two", "three", "four", "five", "six", "seven", "eight", "nine", "colon", "semicolon",
    "less", "equal", "greater", "question", "at", "A", "B", "C", "D", "E", "F", "G", "H", "I", "J", "K", "L",
    "M", "N", "O", "P", "Q", "R", "S", "T", "U", "V", "W", "X", "Y", "Z", "bracketleft", "backslash",
    "bracketright", "asciicircum", "underscore", "grave", "a", "b", "c", "d", "e", "f", "g", "h", "i", "j",
    "k", "l", "m", "n", "o", "p", "q", "r", "s", "t", "u", "v", "w", "x", "y", "z", "braceleft", "bar",
    "braceright", "asciitilde", "bullet", "Euro", "bullet", "quotesinglbase", "florin", "quotedblbase",
    "ellipsis", "dagger", "daggerdbl", "circumflex", "perthousand", "Scaron", "guilsinglleft", "OE", "bullet",
    "Zcaron", "bullet", "bullet", "quoteleft", "quoteright", "quotedblleft", "quotedblright", "bullet",
    "endash", "emdash", "tilde", "trademark", "scaron", "guilsinglright", "oe", "bullet", "zcaron",
    "Ydieresis", "space", "exclamdown", "cent", "sterling", "currency", "yen", "brokenbar", "section",
    "dieresis", "copyright", "ordfeminine", "guillemotleft", "logicalnot", "hyphen", "registered", "macron",
    "degree", "plusminus", "twosuperior", "threesuperior", "acute", "mu", "paragraph", "periodcentered",
    "cedilla", "onesuperior", "ordmasculine", "guillemotright", "onequarter", "onehalf", "threequarters",
    "questiondown", "Agrave", "Aacute", "Acircumflex", "Atilde", "Adieresis", "Aring", "AE", "Ccedilla",
    "Egrave", "Eacute", "Ecircumflex", "Edieresis", "Igrave", "Iacute", "Icircumflex", "Idieresis", "Eth",
    "Ntilde", "Ograve", "Oacute", "Ocircumflex", "Otilde", "Odieresis", "multiply", "Oslash", "Ugrave",
    "Uacute", "Ucircumflex", "Udieresis", "Yacute", "Thorn", "germandbls", "agrave", "aacute", "acircumflex",
    "atilde", "adieresis", "aring", "ae", "ccedilla", "egrave", "eacute", "ecircumflex", "edieresis",
    "igrave", "iacute", "icircumflex", "idieresis", "eth", "ntilde", "ograve", "oacute", "ocircumflex",
    "otilde", "odieresis", "divide", "oslash", "ugrave", "uacute", "ucircumflex", "udieresis", "yacute",
    "thorn", "ydieresis",
};

constexpr Table kMacRoman = {
    "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "",
    "", "", "", "", "", "", "space", "exclam", "quotedbl", "numbersign", "dollar", "percent", "ampersand",
    "quotesingle", "parenleft", "parenright", "asterisk", "plus", "comma", "hyphen", "period", "slash",
    "zero", "one", "two", "three", "four", "five", "six", "seven", "eight", "nine", "colon", "semicolon",
    "less", "equal", "greater", "question", "at", "A", "B", "C", "D", "E", "F", "G", "H", "I", "J", "K", "L",
    "M", "N", "O", "P", "Q", "R", "S", "T", "U", "V", "W", "X", "Y", "Z", "bracketleft", "backslash",
    "bracketright", "asciicircum", "underscore", "grave", "a", "b", "c", "d", "e", "f", "g", "h", "i", "j",
    "k", "l", "m", "n", "o", "p", "q", "r", "s", "t", "u", "v", "w", "x", "y", "z", "braceleft", "bar",
    "braceright", "asciitilde", "", "Adieresis", "Aring", "Ccedilla", "Eacute", "Ntilde", "Odieresis",
    "Udieresis", "aacute", "agrave", "acircumflex", "adieresis", "atilde", "aring", "ccedilla", "eacute",
    "egrave", "ecircumflex", "edieresis", "iacute", "igrave", "icircumflex", "idieresis", "ntilde", "oacute",
    "ograve", "ocircumflex", "odieresis", "otilde", "uacute", "ugrave", "ucircumflex", "udieresis", "dagger",
    "degree", "cent", "sterling", "section", "bullet", "paragraph", "germandbls", "registered", "copyright",
    "trademark", "acute", "dieresis", "notequal", "AE", "Oslash", "infinity", "plusminus", "lessequal",
    "greaterequal", "yen", "mu", "partialdiff", "summation", "product", "pi", "integral", "ordfeminine",
    "ordmasculine", "Omega", "ae", "oslash", "questiondown", "exclamdown", "logicalnot", "radical", "florin",
    "approxequal", "Delta", "guillemotleft", "guillemotright", "ellipsis", "space", "Agrave", "Atilde",
    "Otilde", "OE", "oe", "endash", "emdash", "quotedblleft", "quotedblright", "quoteleft", "quoteright",
    "divide", "lozenge", "ydieresis", "Ydieresis", "fraction", "currency", "guilsinglleft", "guilsinglright",
    "fi", "fl", "daggerdbl", "periodcentered", "quotesinglbase", "quotedblbase", "perthousand", "Acircumflex",
    "Ecircumflex", "Aacute", "Edieresis", "Egrave", "Iacute", "Icircumflex", "Idieresis", "Igrave", "Oacute",
    "Ocircumflex", "apple", "Ograve", "Uacute", "Ucircumflex", "Ugrave", "dotlessi", "circumflex", "tilde",
    "macron", "breve", "dotaccent", "ring", "cedilla", "hungarumlaut", "ogonek", "caron",
};

struct NamedCharacter {
  std::string_view name;
  std::uint16_t unicode;
};

// Sorted by name.
constexpr NamedCharacter kNames[] = {
    {"A", 0x0041}, {"AE", 0x00c6}, {"AEacute", 0x01fc}, {"Aacute", 0x00c1}, {"Abreve", 0x0102},
    {"Acircumflex", 0x00c2}, {"Adieresis", 0x00c4}, {"Agrave", 0x00c0}, {"Alpha", 0x0391},
    {"Alphatonos", 0x0386}, {"Amacron", 0x0100}, {"Aogonek", 0x0104}, {"Aring", 0x00c5},
    {"Aringacute", 0x01fa}, {"Atilde", 0x00c3}, {"B", 0x0042}, {"Beta", 0x0392}, {"C", 0x0043},
    {"Cacute", 0x0106}, {"Ccaron", 0x010c}, {"Ccedilla", 0x00c7}, {"Ccircumflex", 0x0108},
    {"Cdotaccent", 0x010a}, {"Chi", 0x03a7}, {"D", 0x0044}, {"Dcaron", 0x010e}, {"Dcroat", 0x0110},
    {"Delta", 0x2206}, {"Dslash", 0x0110}, {"E", 0x0045}, {"Eacute", 0x00c9}, {"Ebreve", 0x0114},
    {"Ecaron", 0x011a}, {"Ecircumflex", 0x00ca}, {"Edieresis", 0x00cb}, {"Edotaccent", 0x0116},
    {"Egrave", 0x00c8}, {"Emacron", 0x0112}, {"Eng", 0x014a}, {"Eogonek", 0x0118}, {"Epsilon", 0x0395},
    {"Epsilontonos", 0x0388}, {"Eta", 0x0397}, {"Etatonos", 0x0389}, {"Eth", 0x00d0}, {"Euro", 0x20ac},
    {"F", 0x0046}, {"G", 0x0047}, {"Gamma", 0x0393}, {"Gbreve", 0x011e}, {"Gcaron", 0x01e6},
    {"Gcircumflex", 0x011c}, {"Gdotaccent", 0x0120}, {"H", 0x0048}, {"H18533", 0x25cf}, {"H18543", 0x25aa},
    {"H18551", 0x25ab}, {"H22073", 0x25a1}, {"Hbar", 0x0126}, {"Hcircumflex", 0x0124}, {"I", 0x0049},
    {"IJ", 0x0132}, {"Iacute", 0x00cd}, {"Ibreve", 0x012c}, {"Icircumflex", 0x00ce}, {"Idieresis", 0x00cf},
    {"Idotaccent", 0x0130}, {"Ifraktur", 0x2111}, {"Igrave", 0x00cc}, {"Imacron", 0x012a},
    {"Iogonek", 0x012e}, {"Iota", 0x0399}, {"Iotadieresis", 0x03aa}, {"Iotatonos", 0x038a},
    {"Itilde", 0x0128}, {"J", 0x004a}, {"Jcircumflex", 0x0134}, {"K", 0x004b}, {"Kappa", 0x039a},
    {"L", 0x004c}, {"Lacute", 0x0139}, {"Lambda", 0x039b}, {"Lcaron", 0x013d}, {"Ldot", 0x013f},
    {"Lslash", 0x0141}, {"M", 0x004d}, {"Mu", 0x039c}, {"N", 0x004e}, {"Nacute", 0x0143}, {"Ncaron", 0x0147},
    {"Ntilde", 0x00d1}, {"Nu", 0x039d}, {"O", 0x004f}, {"OE", 0x0152}, {"Oacute", 0x00d3}, {"Obreve", 0x014e},
    {"Ocircumflex", 0x00d4}, {"Odieresis", 0x00d6}, {"Ograve", 0x00d2}, {"Ohm", 0x2126}, {"Ohorn", 0x01a0},
    {"Ohungarumlaut", 0x0150}, {"Omacron", 0x014c}, {"Omega", 0x2126}, {"Omegatonos", 0x038f},
    {"Omicron", 0x039f}, {"Omicrontonos", 0x038c}, {"Oslash", 0x00d8}, {"Oslashacute", 0x01fe},
    {"Otilde", 0x00d5}, {"P", 0x0050}, {"Phi", 0x03a6}, {"Pi", 0x03a0}, {"Psi", 0x03a8}, {"Q", 0x0051},
    {"R", 0x0052}, {"Racute", 0x0154}, {"Rcaron", 0x0158}, {"Rfraktur", 0x211c}, {"Rho", 0x03a1},
    {"S", 0x0053}, {"SF010000", 0x250c}, {"SF020000", 0x2514}, {"SF030000", 0x2510}, {"SF040000", 0x2518},
    {"SF050000", 0x253c}, {"SF060000", 0x252c}, {"SF070000", 0x2534}, {"SF080000", 0x251c},
    {"SF090000", 0x2524}, {"SF100000", 0x2500}, {"SF110000", 0x2502}, {"SF190000", 0x2561},
    {"SF200000", 0x2562}, {"SF210000", 0x2556}, {"SF220000", 0x2555}, {"SF230000", 0x2563},
    {"SF240000", 0x2551}, {"SF250000", 0x2557}, {"SF260000", 0x255d}, {"SF270000", 0x255c},
    {"SF280000", 0x255b}, {"SF360000", 0x255e}, {"SF370000", 0x255f}, {"SF380000", 0x255a},
    {"SF390000", 0x2554}, {"SF400000", 0x2569}, {"SF410000", 0x2566}, {"SF420000", 0x2560},
    {"SF430000", 0x2550}, {"SF440000", 0x256c}, {"SF450000", 0x2567}, {"SF460000", 0x2568},
    {"SF470000", 0x2564}, {"SF480000", 0x2565}, {"SF490000", 0x2559}, {"SF500000", 0x2558},
    {"SF510000", 0x2552}, {"SF520000", 0x2553}, {"SF530000", 0x256b}, {"SF540000", 0x256a},
    {"Sacute", 0x015a}, {"Scaron", 0x0160}, {"Scedilla", 0x015e}, {"Scircumflex", 0x015c}, {"Sigma", 0x03a3},
    {"T", 0x0054}, {"Tau", 0x03a4}, {"Tbar", 0x0166}, {"Tcaron", 0x0164}, {"Tcommaaccent", 0x0162},
    {"Theta", 0x0398}, {"Thorn", 0x00de}, {"U", 0x0055}, {"Uacute", 0x00da}, {"Ubreve", 0x016c},
    {"Ucircumflex", 0x00db}, {"Udieresis", 0x00dc}, {"Ugrave", 0x00d9}, {"Uhorn", 0x01af},
    {"Uhungarumlaut", 0x0170}, {"Umacron", 0x016a}, {"Uogonek", 0x0172}, {"Upsilon", 0x03a5},
    {"Upsilon1", 0x03d2}, {"Upsilondieresis", 0x03ab}, {"Upsilontonos", 0x038e}, {"Uring", 0x016e},
    {"Utilde", 0x0168}, {"V", 0x0056}, {"W", 0x0057}, {"Wacute", 0x1e82}, {"Wcircumflex", 0x0174},
    {"Wdieresis", 0x1e84}, {"Wgrave", 0x1e80}, {"X", 0x0058}, {"Xi", 0x039e}, {"Y", 0x0059},
    {"Yacute", 0x00dd}, {"Ycircumflex", 0x0176}, {"Ydieresis", 0x0178}, {"Ygrave", 0x1ef2}, {"Z", 0x005a},
    {"Zacute", 0x0179}, {"Zcaron", 0x017d}, {"Zdotaccent", 0x017b}, {"Zeta", 0x0396}, {"a", 0x0061},
    {"aacute", 0x00e1}, {"abreve", 0x0103}, {"acircumflex", 0x00e2}, {"acute", 0x00b4}, {"acutecomb", 0x0301},
    {"adieresis", 0x00e4}, {"ae", 0x00e6}, {"aeacute", 0x01fd}, {"agrave", 0x00e0}, {"aleph", 0x2135},
    {"alpha", 0x03b1}, {"alphatonos", 0x03ac}, {"amacron", 0x0101}, {"ampersand", 0x0026}, {"angle", 0x2220},
    {"angleleft", 0x2329}, {"angleright", 0x232a}, {"anoteleia", 0x0387}, {"aogonek", 0x0105},
    {"approxequal", 0x2248}, {"aring", 0x00e5}, {"aringacute", 0x01fb}, {"arrowboth", 0x2194},
    {"arrowdblboth", 0x21d4}, {"arrowdbldown", 0x21d3}, {"arrowdblleft", 0x21d0}, {"arrowdblright", 0x21d2},
    {"arrowdblup", 0x21d1}, {"arrowdown", 0x2193}, {"arrowleft", 0x2190}, {"arrowright", 0x2192},
    {"arrowup", 0x2191}, {"arrowupdn", 0x2195}, {"arrowupdnbse", 0x21a8}, {"asciicircum", 0x005e},
    {"asciitilde", 0x007e}, {"asterisk", 0x002a}, {"asteriskmath", 0x2217}, {"at", 0x0040},
    {"atilde", 0x00e3}, {"b", 0x0062}, {"backslash", 0x005c}, {"bar", 0x007c}, {"beta", 0x03b2},
    {"block", 0x2588}, {"braceleft", 0x007b}, {"braceright", 0x007d}, {"bracketleft", 0x005b},
    {"bracketright", 0x005d}, {"breve", 0x02d8}, {"brokenbar", 0x00a6}, {"bullet", 0x2022}, {"c", 0x0063},
    {"cacute", 0x0107}, {"caron", 0x02c7}, {"carriagereturn", 0x21b5}, {"ccaron", 0x010d},
    {"ccedilla", 0x00e7}, {"ccircumflex", 0x0109}, {"cdotaccent", 0x010b}, {"cedilla", 0x00b8},
    {"cent", 0x00a2}, {"chi", 0x03c7}, {"circle", 0x25cb}, {"circlemultiply", 0x2297}, {"circleplus", 0x2295},
    {"circumflex", 0x02c6}, {"club", 0x2663}, {"colon", 0x003a}, {"colonmonetary", 0x20a1}, {"comma", 0x002c},
    {"congruent", 0x2245}, {"copyright", 0x00a9}, {"currency", 0x00a4}, {"d", 0x0064}, {"dagger", 0x2020},
    {"daggerdbl", 0x2021}, {"dcaron", 0x010f}, {"dcroat", 0x0111}, {"degree", 0x00b0}, {"delta", 0x03b4},
    {"diamond", 0x2666}, {"dieresis", 0x00a8}, {"dieresistonos", 0x0385}, {"divide", 0x00f7},
    {"dkshade", 0x2593}, {"dmacron", 0x0111}, {"dnblock", 0x2584}, {"dollar", 0x0024}, {"dong", 0x20ab},
    {"dotaccent", 0x02d9}, {"dotbelowcomb", 0x0323}, {"dotlessi", 0x0131}, {"dotmath", 0x22c5}, {"e", 0x0065},
    {"eacute", 0x00e9}, {"ebreve", 0x0115}, {"ecaron", 0x011b}, {"ecircumflex", 0x00ea},
    {"edieresis", 0x00eb}, {"edotaccent", 0x0117}, {"egrave", 0x00e8}, {"eight", 0x0038}, {"element", 0x2208},
    {"ellipsis", 0x2026}, {"emacron", 0x0113}, {"emdash", 0x2014}, {"emptyset", 0x2205}, {"endash", 0x2013},
    {"eng", 0x014b}, {"eogonek", 0x0119}, {"epsilon", 0x03b5}, {"epsilontonos", 0x03ad}, {"equal", 0x003d},
    {"equivalence", 0x2261}, {"estimated", 0x212e}, {"eta", 0x03b7}, {"etatonos", 0x03ae}, {"eth", 0x00f0},
    {"exclam", 0x0021}, {"exclamdbl", 0x203c}, {"exclamdown", 0x00a1}, {"existential", 0x2203}, {"f", 0x0066},
    {"female", 0x2640}, {"ff", 0xfb00}, {"ffi", 0xfb03}, {"ffl", 0xfb04}, {"fi", 0xfb01},
    {"figuredash", 0x2012}, {"filledbox", 0x25a0}, {"filledrect", 0x25ac}, {"five", 0x0035},
    {"fiveeighths", 0x215d}, {"fl", 0xfb02}, {"florin", 0x0192}, {"four", 0x0034}, {"fraction", 0x2044},
    {"franc", 0x20a3}, {"g", 0x0067}, {"gamma", 0x03b3}, {"gbreve", 0x011f}, {"gcaron", 0x01e7},
    {"gcircumflex", 0x011d}, {"gdotaccent", 0x0121}, {"germandbls", 0x00df}, {"gradient", 0x2207},
    {"grave", 0x0060}, {"gravecomb", 0x0300}, {"greater", 0x003e}, {"greaterequal", 0x2265},
    {"guillemotleft", 0x00ab}, {"guillemotright", 0x00bb}, {"guilsinglleft", 0x2039},
    {"guilsinglright", 0x203a}, {"h", 0x0068}, {"hbar", 0x0127}, {"hcircumflex", 0x0125}, {"heart", 0x2665},
    {"hookabovecomb", 0x0309}, {"house", 0x2302}, {"hungarumlaut", 0x02dd}, {"hyphen", 0x002d}, {"i", 0x0069},
    {"iacute", 0x00ed}, {"ibreve", 0x012d}, {"icircumflex", 0x00ee}, {"idieresis", 0x00ef},
    {"igrave", 0x00ec}, {"ij", 0x0133}, {"imacron", 0x012b}, {"increment", 0x2206}, {"infinity", 0x221e},
    {"integral", 0x222b}, {"integralbt", 0x2321}, {"integraltp", 0x2320}, {"intersection", 0x2229},
    {"invbullet", 0x25d8}, {"invcircle", 0x25d9}, {"invsmileface", 0x263b}, {"iogonek", 0x012f},
    {"iota", 0x03b9}, {"iotadieresis", 0x03ca}, {"iotadieresistonos", 0x0390}, {"iotatonos", 0x03af},
    {"itilde", 0x0129}, {"j", 0x006a}, {"jcircumflex", 0x0135}, {"k", 0x006b}, {"kappa", 0x03ba},
    {"kgreenlandic", 0x0138}, {"l", 0x006c}, {"lacute", 0x013a}, {"lambda", 0x03bb}, {"lcaron", 0x013e},
    {"ldot", 0x0140}, {"less", 0x003c}, {"lessequal", 0x2264}, {"lfblock", 0x258c}, {"lira", 0x20a4},
    {"logicaland", 0x2227}, {"logicalnot", 0x00ac}, {"logicalor", 0x2228}, {"longs", 0x017f},
    {"lozenge", 0x25ca}, {"lslash", 0x0142}, {"ltshade", 0x2591}, {"m", 0x006d}, {"macron", 0x00af},
    {"male", 0x2642}, {"middot", 0x00b7}, {"minus", 0x2212}, {"minute", 0x2032}, {"mu", 0x00b5},
    {"multiply", 0x00d7}, {"musicalnote", 0x266a}, {"musicalnotedbl", 0x266b}, {"n", 0x006e},
    {"nacute", 0x0144}, {"napostrophe", 0x0149}, {"nbspace", 0x00a0}, {"ncaron", 0x0148}, {"nine", 0x0039},
    {"nonbreakingspace", 0x00a0}, {"notelement", 0x2209}, {"notequal", 0x2260}, {"notsubset", 0x2284},
    {"ntilde", 0x00f1}, {"nu", 0x03bd}, {"numbersign", 0x0023}, {"o", 0x006f}, {"oacute", 0x00f3},
    {"obreve", 0x014f}, {"ocircumflex", 0x00f4}, {"odieresis", 0x00f6}, {"oe", 0x0153}, {"ogonek", 0x02db},
    {"ograve", 0x00f2}, {"ohorn", 0x01a1}, {"ohungarumlaut", 0x0151}, {"omacron", 0x014d}, {"omega", 0x03c9},
    {"omega1", 0x03d6}, {"omegatonos", 0x03ce}, {"omicron", 0x03bf}, {"omicrontonos", 0x03cc},
    {"one", 0x0031}, {"onedotenleader", 0x2024}, {"oneeighth", 0x215b}, {"onehalf", 0x00bd},
    {"onequarter", 0x00bc}, {"onesuperior", 0x00b9}, {"onethird", 0x2153}, {"openbullet", 0x25e6},
    {"ordfeminine", 0x00aa}, {"ordmasculine", 0x00ba}, {"orthogonal", 0x221f}, {"oslash", 0x00f8},
    {"oslashacute", 0x01ff}, {"otilde", 0x00f5}, {"overscore", 0x00af}, {"p", 0x0070}, {"paragraph", 0x00b6},
    {"parenleft", 0x0028}, {"parenright", 0x0029}, {"partialdiff", 0x2202}, {"percent", 0x0025},
    {"period", 0x002e}, {"periodcentered", 0x00b7}, {"perpendicular", 0x22a5}, {"perthousand", 0x2030},
    {"peseta", 0x20a7}, {"phi", 0x03c6}, {"phi1", 0x03d5}, {"pi", 0x03c0}, {"plus", 0x002b},
    {"plusminus", 0x00b1}, {"prescription", 0x211e}, {"product", 0x220f}, {"propersubset", 0x2282},
    {"propersuperset", 0x2283}, {"proportional", 0x221d}, {"psi", 0x03c8}, {"q", 0x0071},
    {"question", 0x003f}, {"questiondown", 0x00bf}, {"quotedbl", 0x0022}, {"quotedblbase", 0x201e},
    {"quotedblleft", 0x201c}, {"quotedblright", 0x201d}, {"quoteleft", 0x2018}, {"quotereversed", 0x201b},
    {"quoteright", 0x2019}, {"quotesinglbase", 0x201a}, {"quotesingle", 0x0027}, {"r", 0x0072},
    {"racute", 0x0155}, {"radical", 0x221a}, {"rcaron", 0x0159}, {"reflexsubset", 0x2286},
    {"reflexsuperset", 0x2287}, {"registered", 0x00ae}, {"revlogicalnot", 0x2310}, {"rho", 0x03c1},
    {"ring", 0x02da}, {"rtblock", 0x2590}, {"s", 0x0073}, {"sacute", 0x015b}, {"scaron", 0x0161},
    {"scedilla", 0x015f}, {"scircumflex", 0x015d}, {"second", 0x2033}, {"section", 0x00a7},
    {"semicolon", 0x003b}, {"seven", 0x0037}, {"seveneighths", 0x215e}, {"sfthyphen", 0x00ad},
    {"shade", 0x2592}, {"sigma", 0x03c3}, {"sigma1", 0x03c2}, {"similar", 0x223c}, {"six", 0x0036},
    {"slash", 0x002f}, {"smileface", 0x263a}, {"softhyphen", 0x00ad}, {"space", 0x0020},
    {"spacehackarabic", 0x0020}, {"spade", 0x2660}, {"sterling", 0x00a3}, {"suchthat", 0x220b},
    {"summation", 0x2211}, {"sun", 0x263c}, {"t", 0x0074}, {"tau", 0x03c4}, {"tbar", 0x0167},
    {"tcaron", 0x0165}, {"tcommaaccent", 0x0163}, {"therefore", 0x2234}, {"theta", 0x03b8},
    {"theta1", 0x03d1}, {"thorn", 0x00fe}, {"three", 0x0033}, {"threeeighths", 0x215c},
    {"threequarters", 0x00be}, {"threesuperior", 0x00b3}, {"tilde", 0x02dc}, {"tildecomb", 0x0303},
    {"tonos", 0x0384}, {"trademark", 0x2122}, {"triagdn", 0x25bc}, {"triaglf", 0x25c4}, {"triagrt", 0x25ba},
    {"triagup", 0x25b2}, {"two", 0x0032}, {"twodotenleader", 0x2025}, {"twosuperior", 0x00b2},
    {"twothirds", 0x2154}, {"u", 0x0075}, {"uacute", 0x00fa}, {"ubreve", 0x016d}, {"ucircumflex", 0x00fb},
    {"udieresis", 0x00fc}, {"ugrave", 0x00f9}, {"uhorn", 0x01b0}, {"uhungarumlaut", 0x0171},
    {"umacron", 0x016b}, {"underscore", 0x005f}, {"underscoredbl", 0x2017}, {"union", 0x222a},
    {"universal", 0x2200}, {"uogonek", 0x0173}, {"upblock", 0x2580}, {"upsilon", 0x03c5},
    {"upsilondieresis", 0x03cb}, {"upsilondieresistonos", 0x03b0}, {"upsilontonos", 0x03cd},
    {"uring", 0x016f}, {"utilde", 0x0169}, {"v", 0x0076}, {"verticalbar", 0x007c}, {"w", 0x0077},
    {"wacute", 0x1e83}, {"wcircumflex", 0x0175}, {"wdieresis", 0x1e85}, {"weierstrass", 0x2118},
    {"wgrave", 0x1e81}, {"x", 0x0078}, {"xi", 0x03be}, {"y", 0x0079}, {"yacute", 0x00fd},
    {"ycircumflex", 0x0177}, {"ydieresis", 0x00ff}, {"yen", 0x00a5}, {"ygrave", 0x1ef3}, {"z", 0x007a},
    {"zacute", 0x017a}, {"zcaron", 0x017e}, {"zdotaccent", 0x017c}, {"zero", 0x0030}, {"zeta", 0x03b6},
};

std::optional<std::uint32_t> hexadecimal(std::string_view digits) {
  std::uint32_t value = 0;
  for (const char c : digits) {
    if (c >= '0' && c <= '9') {
      value = value * 16 + static_cast<std::uint32_t>(c - '0');
    } else if (c >= 'A' && c <= 'F') {
      value = value * 16 + static_cast<std::uint32_t>(c - 'A' + 10);
    } else {
      return std::nullopt;
    }
  }
  return value;
}

// afii10017 and the like: the Cyrillic letters in the order of the alphabet, with the letter io put in after the sixth.
std::optional<std::uint32_t> cyrillic(std::string_view name) {
  if (name.size() != 9 || name.substr(0, 4) != "afii") return std::nullopt;
  std::uint32_t number = 0;
  for (const char c : name.substr(4)) {
    if (c < '0' || c > '9') return std::nullopt;
    number = number * 10 + static_cast<std::uint32_t>(c - '0');
  }
  for (const auto& [first, letter, io] : {std::array{10017u, 0x410u, 0x401u}, std::array{10065u, 0x430u, 0x451u}}) {
    if (number < first || number > first + 32) continue;
    return number == first + 6 ? io : letter + (number - first) - (number > first + 6 ? 1 : 0);
  }
  return std::nullopt;
}

}  // namespace

std::string_view encodingName(BaseEncoding encoding, std::uint8_t code) {
  switch (encoding) {
    case BaseEncoding::standard: return kStandard[code];
    case BaseEncoding::winAnsi: return kWinAnsi[code];
    case BaseEncoding::macRoman: return kMacRoman[code];
  }
  return {};
}

std::optional<std::uint32_t> unicodeOfName(std::string_view name) {
  const std::size_t dot = name.find('.');
  if (dot != std::string_view::npos && dot > 0) name = name.substr(0, dot);
  const auto* found = std::lower_bound(std::begin(kNames), std::end(kNames), name,
                                       [](const NamedCharacter& a, std::string_view b) { return a.name < b; });
  if (found != std::end(kNames) && found->name == name) return found->unicode;
  if (const auto letter = cyrillic(name)) return letter;
  if (name.size() == 7 && name.substr(0, 3) == "uni") return hexadecimal(name.substr(3));
  if (name.size() >= 5 && name.size() <= 7 && name[0] == 'u') return hexadecimal(name.substr(1));
  return std::nullopt;
}

}  // namespace optimizer::font
