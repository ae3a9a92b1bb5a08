// quarnc: the host kernel's external-calling interface.
//
// Everything a loaded library may do with host objects goes through these
// calls. Each takes the kernel handle first. Host objects live in the
// host's collected heap and belong to the host; a library frees none of
// them. Raise calls never return: they throw the host's error object, which
// unwinds the caller's frames up to the nearest QuarnTrapError or to the
// host's own boundary.
#ifndef QUARN_PLATFORM_HOST_QUARNC_H
#define QUARN_PLATFORM_HOST_QUARNC_H

#include <cstddef>
#include <cstdint>

// A host object handle: pointer-sized. An odd value is an immediate integer;
// an even one points to a heap object whose first 32-bit word holds the type
// tag in its top 6 bits.
typedef struct HostObjectBody_* HostObject;

struct _QKernelVectorDesc;
typedef _QKernelVectorDesc* QKernel;

// Type tags of heap objects (top 6 bits of the first header word).
enum HostTag : uint32_t {
  kTagIntNeg = 1,      // big negative integer (immediates report 1 too)
  kTagIntPos = 2,      // big nonnegative integer (immediates report 2 too)
  kTagRational = 3,    // numerator, denominator
  kTagFloat = 4,       // software float, MPFR number inline
  kTagComplex = 5,     // real part, imaginary part
  kTagString = 6,
  kTagName = 7,
  kTagFunction = 8,    // unevaluated call: function name, then arguments
  kTagList = 9,
  kTagExpSeq = 10,
  kTagTable = 11,
  kTagRTable = 12,
  kTagProcedure = 13,
  kTagUneval = 14,     // quoted expression
  kTagEquation = 21,   // header, left side, right side
  kTagRange = 36,      // header, low end, high end
};

// rtable data type codes.
enum RTableDataType : int32_t {
  RTABLE_DAG = 0,        // host objects
  RTABLE_CXDAG = 1,      // pairs of host objects (real, imaginary)
  RTABLE_INTEGER8 = 2,
  RTABLE_INTEGER16 = 3,
  RTABLE_INTEGER32 = 4,
  RTABLE_INTEGER64 = 5,
  RTABLE_FLOAT64 = 6,    // float[8]
  RTABLE_COMPLEX = 7,    // two IEEE doubles
  RTABLE_FLOAT32 = 8,    // float[4]
  RTABLE_NUM_DATA_TYPES = 9,
};

// rtable storage codes.
enum RTableStorage : int32_t {
  RTABLE_SPARSE = 1,       // only assigned entries are stored; the rest read as 0
  RTABLE_RECT = 4,         // dense data block
};

// rtable element orders (matter from two dimensions on).
enum RTableOrder : int32_t {
  RTABLE_FORTRAN = 0,      // first index varies fastest
  RTABLE_C = 1,            // last index varies fastest
};

// rtable subtypes.
enum RTableSubtype : int32_t {
  RTABLE_ARRAY = 0,
  RTABLE_MATRIX = 1,
  RTABLE_COLUMN = 2,
  RTABLE_ROW = 3,
};

enum { RTABLE_MAX_DIMENSIONS = 8 };

struct RTableSettingsRecord {
  int32_t num_dimensions;
  int32_t subtype;
  int32_t data_type;
  int32_t storage;
  int32_t order;
  int32_t read_only;
  HostObject element_type_name;  // a name such as sfloat, or anything
  HostObject attributes;          // NULL or an expression sequence
};

// One rtable element, whatever its data type: 16 bytes.
union RTableData {
  HostObject dag;
  struct {
    HostObject re, im;
  } cxdag;
  int8_t int8;
  int16_t int16;
  int32_t int32;
  int64_t int64;
  double float64;
  float float32;
  struct {
    double re, im;
  } complex;
};
static_assert(sizeof(RTableData) == 16, "an rtable element is 16 bytes");

extern "C" {

// Argument sequences.
int QuarnNumArgs(QKernel kv, HostObject seq);
HostObject QuarnExpseqSelect(QKernel kv, HostObject seq, int i);
HostObject NewQuarnExpressionSequence(QKernel kv, int n);
void QuarnExpseqAssign(QKernel kv, HostObject seq, int i, HostObject value);

// Tests: nonzero means yes.
int IsQuarnNumeric(QKernel kv, HostObject h);
int IsQuarnProcedure(QKernel kv, HostObject h);
int IsQuarnRTable(QKernel kv, HostObject h);
int IsQuarnList(QKernel kv, HostObject h);
int IsQuarnNULL(QKernel kv, HostObject h);
int IsQuarnInteger(QKernel kv, HostObject h);
int IsQuarnInteger8(QKernel kv, HostObject h);
int IsQuarnInteger32(QKernel kv, HostObject h);
int IsQuarnInteger64(QKernel kv, HostObject h);
int IsQuarnUnnamedZero(QKernel kv, HostObject h);
int IsQuarnAssignedName(QKernel kv, HostObject h);
int IsQuarnName(QKernel kv, HostObject h);
int IsQuarnString(QKernel kv, HostObject h);
int IsQuarnTable(QKernel kv, HostObject h);

// Conversions to host objects.
HostObject ToQuarnFloat(QKernel kv, double d);
HostObject ToQuarnInteger(QKernel kv, long n);
HostObject ToQuarnInteger64(QKernel kv, int64_t n);
HostObject ToQuarnComplex(QKernel kv, double re, double im);
HostObject ToQuarnComplexFloat(QKernel kv, HostObject re, HostObject im);
HostObject ToQuarnBoolean(QKernel kv, int b);
HostObject ToQuarnNULL(QKernel kv);
HostObject ToQuarnName(QKernel kv, const char* text, int global);
HostObject ToQuarnString(QKernel kv, const char* text);

// Conversions from host objects; each raises when the object does not fit.
int32_t QuarnToInteger32(QKernel kv, HostObject h);
int64_t QuarnToInteger64(QKernel kv, HostObject h);
long QuarnToQ_INT(QKernel kv, HostObject h);
int QuarnToQ_BOOL(QKernel kv, HostObject h);
double QuarnToFloat64(QKernel kv, HostObject h);
const char* QuarnToString(QKernel kv, HostObject h);

// rtables.
void RTableGetDefaults(QKernel kv, RTableSettingsRecord* rts);
void RTableGetSettings(QKernel kv, RTableSettingsRecord* rts, HostObject rt);
HostObject RTableCreate(QKernel kv, RTableSettingsRecord* rts, void* data, int* bounds);
HostObject RTableCopy(QKernel kv, RTableSettingsRecord* rts, HostObject rt);
void* RTableDataBlock(QKernel kv, HostObject rt);
size_t RTableNumElements(QKernel kv, HostObject rt);
int RTableNumDimensions(QKernel kv, HostObject rt);
int RTableLowerBound(QKernel kv, HostObject rt, int dim);
int RTableUpperBound(QKernel kv, HostObject rt, int dim);
RTableData RTableSelect(QKernel kv, HostObject rt, int* index);
RTableData RTableAssign(QKernel kv, HostObject rt, int* index, RTableData value);

// Lists and tables. List positions count from 1.
HostObject QuarnListAlloc(QKernel kv, int n);
void QuarnListAssign(QKernel kv, HostObject list, int i, HostObject value);
HostObject QuarnListSelect(QKernel kv, HostObject list, int i);
int QuarnListLength(QKernel kv, HostObject list);
HostObject QuarnTableAlloc(QKernel kv);
void QuarnTableAssign(QKernel kv, HostObject table, HostObject key, HostObject value);
HostObject QuarnTableSelect(QKernel kv, HostObject table, HostObject key);
int QuarnTableHasEntry(QKernel kv, HostObject table, HostObject key);

// Memory.
void* QuarnAlloc(QKernel kv, size_t bytes);
HostObject QuarnNew(QKernel kv, int tag, int length);
HostObject QuarnNumericAdd(QKernel kv, HostObject a, HostObject b);
void QuarnGcProtect(QKernel kv, HostObject h);
void QuarnGcAllow(QKernel kv, HostObject h);

// Evaluation and names.
HostObject QuarnEval(QKernel kv, HostObject h);
HostObject EvalQuarnProcedure(QKernel kv, HostObject proc, HostObject args);
HostObject EvalQuarnProc(QKernel kv, HostObject proc, int n, ...);
HostObject QuarnAssign(QKernel kv, HostObject name, HostObject value);

// Errors and messages.
[[noreturn]] void QuarnRaiseError(QKernel kv, const char* text);
[[noreturn]] void QuarnRaiseError1(QKernel kv, const char* text, HostObject a);
[[noreturn]] void QuarnRaiseError2(QKernel kv, const char* text, HostObject a, HostObject b);
void* QuarnTrapError(QKernel kv, void* (*body)(void* data), void* data, int* trapped);
void QuarnUserInfo(QKernel kv, int level, const char* channel, const char* text);

// Random source.
HostObject QuarnRandomSoftwareFloat01(QKernel kv);
int32_t QuarnRandomInt32(QKernel kv);

}  // extern "C"

// The kernel descriptor. A kernel handle points to one; its function table
// offers a subset of the calls above for code that reaches the host through
// the handle rather than through the exported names.
struct _QKernelVectorDesc {
  int (*numArgs)(QKernel, HostObject);
  [[noreturn]] void (*error)(QKernel, const char*);
  int (*isRTable)(QKernel, HostObject);
  const char* (*toString)(QKernel, HostObject);
  int32_t (*toInteger32)(QKernel, HostObject);
  void* (*rtableData)(QKernel, HostObject);
  double (*toFloat64)(QKernel, HostObject);
  HostObject (*assign)(QKernel, HostObject, HostObject);
  HostObject (*toInteger)(QKernel, long);
  HostObject (*toNULL)(QKernel);
  HostObject (*exprseqSelect)(QKernel, HostObject, int);
};

#endif
