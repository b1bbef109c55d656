#include <algorithm>
#include <string>

#include "trq/foundation.h"
#include "trq/machine_types.h"

namespace {

/// Bytes of the name that belong to its directory, separator included.
int DirectoryLength(const CString& name) {
  const int backslash = name.ReverseFind('\\');
  return (backslash >= 0 ? backslash : name.ReverseFind('/')) + 1;
}

CString WithoutLast(const CString& name, int count) { return name.Left(name.GetLength() - count); }

}  // namespace

CString UTILITY::SetFileExtension(CString name, CString ext) {
  const int period = name.ReverseFind('.');
  return (period >= 0 ? name.Left(period) : name) + "." + ext;
}

CString UTILITY::DetermineFileType(CString name) {
  const int period = name.ReverseFind('.');
  return period >= 0 ? name.Mid(period) : CString();
}

CString UTILITY::StripDirectoryName(CString name) { return WithoutLast(StripDirectoryNameLeaveExt(name), 4); }
CString UTILITY::StripDirectoryNameLeaveExt(CString name) { return name.Mid(DirectoryLength(name)); }
CString UTILITY::ExtractDirectoryName(CString name) { return name.Left(DirectoryLength(name)); }
CString UTILITY::GetDirName(CString name) { return ExtractDirectoryName(name); }
CString UTILITY::GetNewNameForSupports(CString name) { return WithoutLast(name, 4) + "_s.stl"; }
CString UTILITY::GetNewNameForVerifiedModel(CString name) { return WithoutLast(name, 4) + "_v.stl"; }
CString UTILITY::GetCTLName(CString name) { return WithoutLast(name, 3) + "ctl"; }
CString UTILITY::GetODFName(CString name) { return WithoutLast(name, 3) + "odf"; }
CString UTILITY::GetSUPPORTSName(CString name) { return WithoutLast(name, 4) + "_s." + name.Right(3); }
CString UTILITY::GetPartNameFromSupports(CString name) { return WithoutLast(name, 6) + ".stl"; }
CString UTILITY::GetVerifyOutputFileName(CString name) { return WithoutLast(name, 4) + "Fixed.stl"; }

bool UTILITY::CheckIfSupportsFileName(CString name) {
  const CString mark = name.Mid(name.GetLength() - 6, 2);
  return mark == "_s" || mark == "_S";
}

CString UTILITY::CheckIfValidSupportName(CString name) {
  if (CheckIfSupportsFileName(name)) return name;
  CString valid = GetNewNameForSupports(name);
  CString message;
  message.Format("The supports file needs an [_s] at the end. The file name was changed to %s",
                 static_cast<const char*>(valid));
  AfxMessageBox(message);
  return valid;
}

int UTILITY::FindColorCtr(int k) { return ((k % 5) + 9) % 5; }

void UTILITY::ClearSpacesInName(const char* src, char* dst) {
  int last = 1023;
  while (last >= 1 && src[last] == '\0') --last;
  // Kept: the byte at `last` itself is not copied.
  const int length = last >= 1 ? last : 1024;
  std::copy(src, src + length, dst);
  dst[length] = '\0';
}

CString UTILITY::AddFullPath(const char* root, int machine, CString file, int units) {
  return CString(root) + trq::StyleDirectory(machine, units) + file;
}
