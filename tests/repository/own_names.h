// What an application may call its own things, whatever the library's headers hold.
int units;
int sort_state;
int drive;
struct mesh_io {};
struct component_io {};
enum stl_import { slc_file, message_box };
void style_file();
struct MeshArray {};
class StyleStream;
using Span = int;
namespace core {}
namespace detail {}
namespace host {}
struct SlcLayer {};
int kOk, kDone, kFailed, kMillimetre, kInch, kUnknown;
template <class T>
struct Result {};
