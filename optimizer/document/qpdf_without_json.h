// Put in front of every source by clang builds. clang 14 with the standard library of g++ 12 cannot compile qpdf's JSON classes as
// C++20 (it instantiates a vector of an incomplete type). The engine has no use for them, so here they are only declared.
#pragma once

#include <functional>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <qpdf/DLL.h>
#include <qpdf/PointerHolder.hh>
#include <qpdf/Types.h>

#define JSON_HH
class JSON;
