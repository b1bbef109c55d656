#include "trqprep/message_table.h"

#include <cstddef>
#include <iterator>

namespace trqprep {
namespace {

constexpr Severity kNote = Severity::kNote;
constexpr Severity kWarning = Severity::kWarning;
constexpr Severity kError = Severity::kError;
constexpr unsigned kAlsoNote = 1u << static_cast<unsigned>(kNote);
constexpr unsigned kAlsoWarning = 1u << static_cast<unsigned>(kWarning);
constexpr unsigned kAlsoError = 1u << static_cast<unsigned>(kError);

// clang-format off
constexpr MessageRow kRows[] = {
    {Code::kStlShort, "STL-SHORT", "a binary STL file holds fewer facets than it announces", "`--accept-partial` uses those present", kError, kAlsoWarning, R"(The 32-bit count behind the header of a binary STL file says how many facets follow; the file ends before them. It was cut while being copied or written. Copy or export it again. --accept-partial uses the facets that are present, which leaves a hole in the part.)"},
    {Code::kStlEmpty, "STL-EMPTY", "a file without facets", "export the part again", kError, 0, R"(The file is empty or holds no facet, so there is nothing to build. Export the part again.)"},
    {Code::kStlCut, "STL-CUT", "an ASCII STL file ends inside a facet or without `endsolid`", "`--accept-partial` uses the facets present", kError, kAlsoWarning, R"(The last line that begins with a word of the format does not begin with endsolid: the text was cut while being copied or written, and nothing tells how much is missing. Copy or export it again. info shows what there is; other commands refuse the file, unless --accept-partial uses the facets that are whole, which leaves a hole in the part. A facet whose last line has no line end is not counted, since its last number may be cut too.)"},
    {Code::kStlText, "STL-TEXT", "a text that cannot be read as STL; says where and what stands there", "correct the line, or export the part again", kError, 0, R"(The file is text, but a corner lacks one of its three numbers, or the text is no STL at all. The line, the column and the word found there are named. Numbers are decimal, with a point and perhaps an exponent: decimal commas, nan and inf are refused. --accept-partial does not help, as half a text is no part.)"},
    {Code::kStlEndian, "STL-ENDIAN", "a binary STL file with the bytes of its numbers in the wrong order", "export it little-endian, as the format is", kError, 0, R"(The count behind the header fits the size of the file when its bytes are read in the other order, so the file was written big-endian. STL files are little-endian; read as they are, every number would be another one. Export the part again, little-endian or as text.)"},
    {Code::kStlNormalised, "STL-NORMALISED", "an ASCII STL file that only this tool reads, as it leaves the strict form", "`convert --normalize` writes it in the strict form", kNote, 0, R"(The application reads ASCII STL by strict rules: the second line begins with facet after blanks only, tabs do not separate words, lines end in a line feed, no line is blank inside a loop, characters are single bytes. The line that is named keeps to them no longer. This tool read the file all the same, facets and numbers as the application would; the application itself would not read it. `parts/` of a build keeps the file as it is. convert --normalize writes what was read in the strict form.)"},
    {Code::kUnitsDoubt, "UNITS-DOUBT", "the part may be in the other unit", "`--units in` if the file is in inches", kWarning, 0, R"(STL files do not say what unit they are in. A part whose largest side is below 2 mm, or that would still fit the vat if it were 25.4 times larger, was probably drawn in inches and read as millimetres. Compare the size that is printed in both units, and say --units in, or --to-units when converting.)"},
    {Code::kOpenEdges, "OPEN-EDGES", "the surface has holes", "repair the part where it was drawn", kWarning, 0, R"(An edge that belongs to one facet only is the rim of a hole. Slicing an open surface gives open contours, and it is not known what is inside. Repair the part where it was drawn, or export it with a finer tolerance.)"},
    {Code::kNonManifold, "NON-MANIFOLD", "edges that do not join exactly two facets in opposite directions", "separate bodies that touch", kWarning, 0, R"(An edge with more than two facets, or with two facets that wind the same way, makes inside and outside ambiguous. Bodies that touch along an edge do this, and facets with turned normals.)"},
    {Code::kInverted, "INVERTED", "a closed surface is turned inside out", "turn its facets where it was drawn", kWarning, 0, R"(The facets of a closed surface wind clockwise seen from outside, so its volume is negative, and it does not lie inside another surface as a cavity would. The part would cure everywhere but where it should. Turn its facets where it was drawn.)"},
    {Code::kDegenerate, "DEGENERATE", "facets without area", "`repair` takes out those with two equal corners", kWarning, 0, R"(Facets with two equal corners or three corners on a line have no normal and cure nothing. A few of them do no harm; many of them hint at an export that was too coarse for the part's size. Converting drops nothing; `repair` takes out those with two equal corners.)"},
    {Code::kTooBigForVat, "TOO-BIG-FOR-VAT", "the part does not fit the vat", "lay it down, name a larger vat, check its unit", kError, 0, R"(The part is larger than the vat in Z, or larger than it in X and Y however it is turned about Z. Turn the part with `transform`, scale it, or choose a machine with a larger vat.)"},
    {Code::kOverlap, "OVERLAP", "two pieces overlap seen from above", "another seed, a larger vat", kError, 0, R"(The projections of two placed pieces to the XY plane share more than a contact of 0.001 mm, so they would be built into one another. Facet is tested against facet; boxes are only the quick first test, so parts may nest. Place fewer copies, or choose more --rotations or another --seed.)"},
    {Code::kFloorLifted, "FLOOR-LIFTED", "a part reached below Z = 0 and is moved up to it", "`--floor keep` refuses instead", kNote, 0, R"(Many parts are drawn about their own origin, so that some of them lies below the floor of the vat, where nothing can be built. Such a part is moved up until its lowest point is at Z = 0, its vents and drains with it, and bands of styles count from there. --floor keep leaves the part where it was drawn, and the build is refused.)"},
    {Code::kFloating, "FLOATING", "a part begins high above the floor of the vat", "`--drop` puts it down", kWarning, 0, R"(The lowest point of the part is more than 30 mm above Z = 0. Unless supports reach down to the platform, its first layers have nothing to hold to. --drop puts the lowest point of every part at Z = 0.)"},
    {Code::kNoStyle, "NO-STYLE", "a part without build style", "`--style`", kWarning, 0, R"(Nothing says how the part is to be cured. A build without styles is a placement only. Name a style for all parts with --style F.sty, or for one with part.stl,style=F.sty.)"},
    {Code::kNoRecoat, "NO-RECOAT", "a build with build styles and no recoat style", "`--recoat`", kWarning, 0, R"(Nothing says how the resin is to be spread between two layers, and the machine would do what it did last. Name a recoat style with --recoat F.rcs.)"},
    {Code::kZGap, "Z-GAP", "a height without style", "a style without a band covers everything", kError, 0, R"(Between the end of one style and the start of the next, or between a stack of styles and the ends of what it has to cover, layers have no style to be built by. Give a style without a band, which covers everything, or extend a band.)"},
    {Code::kZOverlap, "Z-OVERLAP", "a height with two styles", "make the bands meet", kError, 0, R"(Two styles of one stack cover the same layers, so it is not known which applies. Bands added on the command line never overlap; a folder edited by hand may.)"},
    {Code::kStyleCrc, "STYLE-CRC", "a style file fails its checksum", "copy it again from where it came", kError, 0, R"(The last four bytes of a style file are the CRC-32 of all before them, and they differ: the file was cut, damaged or edited. Fetch a good copy. If the contents are known to be right, `style set` or `style upgrade` write a file with a fresh checksum.)"},
    {Code::kStyleRange, "STYLE-RANGE", "a parameter outside what its record allows", "`style set`", kWarning, 0, R"(The value is below the minimum or above the maximum that the record states, or is not among its two or more allowed values. Older programs store such values without complaint. `style set` refuses them.)"},
    {Code::kStyleThickness, "STYLE-THICKNESS", "a build style without a layer thickness above 0", "`style set 'Layer Thickness=...'`", kError, kAlsoWarning, R"(The layer thickness of a build style is 0, below 0 or not a number, so that no number of layers would make the part. Blank styles begin with 0. `style set 'Layer Thickness=0.1'` sets it, in the file's own units.)"},
    {Code::kStyleUnitsMix, "STYLE-UNITS-MIX", "a style that seems to be in another unit than the build", "`style units`", kWarning, kAlsoError, R"(The units text of a recoat style differs from the build's units, or a layer thickness is above 0.02 in an inch build or below 0.02 (and not 0) in a millimetre build. Build style files do not say what unit they are in. `style units --from in --to mm` converts one. In a build it is an error.)"},
    {Code::kMachineMismatch, "MACHINE-MISMATCH", "a style made for another machine", "choose the machine's own style", kWarning, kAlsoError, R"(The machine type in the style file differs from the build's. Without --machine a build is for the machine that its styles agree on; where they do not agree, it is an error. Files of the 206 layout carry no machine type for build styles and are not tested.)"},
    {Code::kLayerMismatch, "LAYER-MISMATCH", "build and recoat style disagree about the layer thickness", "choose a recoat style made for the same layers", kWarning, 0, R"(Over the same Z the thicknesses of the build style and of the recoat style differ by more than 0.000001. A thickness of 0 is unknown and matches everything.)"},
    {Code::kSweepCount, "SWEEP-COUNT", "a recoat style's sweep count and list disagree", "`recoat sweeps`", kError, 0, R"(The number of sweeps in a recoat file is the maximum of its count record. Where a count record's value or maximum differs from its list's length while either is above 0, the machine and the file disagree about how often the blade passes. `recoat sweeps` keeps them true.)"},
    {Code::kSealedVoid, "SEALED-VOID", "a cavity that resin cannot leave", "`vents find` shows places, `vents add` makes one", kWarning, 0, R"(A closed inner surface needs a vent near its top and a drain near its bottom, or it stays full of liquid resin. A point of the side file counts for a cavity when it lies within the cavity's extent in X and Y: above its middle as a vent, below as a drain. `vents find` lists places, `vents add` makes one.)"},
    {Code::kVdStale, "VD-STALE", "a vent or drain that is no longer on the part", "`vents move`, `vents remove`", kWarning, 0, R"(A point of the vents-and-drains side file lies farther than 0.1 mm from the mesh: the part was changed or moved without its side file. `vents list` shows the points, `vents move` and `vents remove` mend them.)"},
    {Code::kRepairLeft, "REPAIR-LEFT", "a repair left open edges", "a larger `--tolerance` or `--holes`, or repair the part where it was drawn", kError, 0, R"(repair did what it could and wrote it, and the surface is still open: edges are left that are not used as often in each direction. The rim of a sheet is never filled, for a sheet has no inside; give it a thickness where it was drawn. Gaps wider than --tolerance and holes with more edges than --holes stay too, and so do facets that meet along an edge in threes and surfaces with one side only. Places are corners of such edges in what was written.)"},
    {Code::kSimplifyShape, "SIMPLIFY-SHAPE", "simplifying changed the shape", "ask for more facets", kWarning, 0, R"(Fewer facets follow a shape less closely. The volume of a closed part changed by more than 1 %, or the area or the box of an open one, or a closed surface came out open. What was measured before and after is printed. Ask for more facets; a part of flat faces needs few, a rounded one many.)"},
    {Code::kSimplifyRuined, "SIMPLIFY-RUINED", "simplifying destroyed the shape", "ask for more facets; `--force-checks` writes it all the same", kError, 0, R"(The volume of a closed part, or the area or the box of an open one, changed by more than 10 %: thin walls fell flat, or a round body became a block. Nothing is written unless --force-checks is given. Ask for more facets.)"},
    {Code::kThinWall, "THIN-WALL", "a wall of a hollow part is thinner than half of what was asked for", "a larger limit; coarser facets, where short edges hold the push back", kWarning, 0, R"(The push of a vertex is at most half of its shortest edge, so small facets make thin walls however large --limit is; and where walls of the part are thinner than twice the limit, the inner skin comes near the other side or through it. From every vertex and the middle of every facet the distance to the inner skin is measured; the least is below half of --limit, at the place that is named. Simplify a part with many small facets first, or choose a limit that its walls allow.)"},
    {Code::kAnsweredNo, "ANSWERED-NO", "a question of the library was answered no", "`--yes` answers yes", kNote},
    {Code::kBandEmpty, "BAND-EMPTY", "a band of Z covers nothing of the part or build and is left out", "Z counts from the floor of the vat", kWarning},
    {Code::kBuildInvalid, "BUILD-INVALID", "build.json does not describe a build", "build again"},
    {Code::kCheckPartial, "CHECK-PARTIAL", "a job's placement and stacks were not tested", "mend the files named before, check again", kNote},
    {Code::kCtlIndex, "CTL-INDEX", "a facet refers to a vertex that the file does not hold", "make the file again"},
    {Code::kCtlInvalid, "CTL-INVALID", "the CTL file is cut or damaged; the text is the library's", "make the file again from its source"},
    {Code::kCtlTrailing, "CTL-TRAILING", "bytes after the last facet were not read", "none needed", kNote},
    {Code::kInputChanged, "INPUT-CHANGED", "a part changed while it was being built", "build again"},
    {Code::kInputFolder, "INPUT-FOLDER", "a folder stands where a file is wanted", "name the files inside it"},
    {Code::kInputMissing, "INPUT-MISSING", "there is no such file", "check the spelling, seen from the current folder"},
    {Code::kInputSpecial, "INPUT-SPECIAL", "the input is a pipe or a device", "copy it to a file first, or name - and let standard input come from it"},
    {Code::kInputUnknown, "INPUT-UNKNOWN", "the content is of no kind that the tool knows", "check that it is the file you mean"},
    {Code::kInputUnreadable, "INPUT-UNREADABLE", "the file cannot be opened or read", "check its permissions"},
    {Code::kInternal, "INTERNAL", "a defect of the tool", "report it"},
    {Code::kInterrupted, "INTERRUPTED", "SIGINT, SIGTERM or SIGHUP arrived; nothing was left half written", "run again"},
    {Code::kJobFile, "JOB-FILE", "a line of a job file means nothing", "correct the line"},
    {Code::kLibraryMessage, "LIBRARY-MESSAGE", "a message box of the library", "as the text says", kWarning},
    {Code::kMachineUnknown, "MACHINE-UNKNOWN", "there is no machine of that name", "the hint names what may have been meant"},
    {Code::kMachinesFile, "MACHINES-FILE", "a line of a machine profile file means nothing", "correct the line"},
    {Code::kMeshEmpty, "MESH-EMPTY", "the operation would leave no facet", "ask for more facets"},
    {Code::kMeshInfinite, "MESH-INFINITE", "a coordinate is infinite", "export the part again"},
    {Code::kMeshNan, "MESH-NAN", "a coordinate is not a number", "export the part again"},
    {Code::kMeshTooLarge, "MESH-TOO-LARGE", "the result would have more facets than a mesh can hold", "fewer or simplified parts"},
    {Code::kNoMemory, "NO-MEMORY", "there is not enough memory", "simplify the parts, or divide the work"},
    {Code::kNoPlacement, "NO-PLACEMENT", "the search found no place for all pieces; says how many of them find one", "fewer copies, a larger vat, more rotations, another seed"},
    {Code::kOutputExists, "OUTPUT-EXISTS", "the output exists already", "`--force`, or another name"},
    {Code::kOutputFolder, "OUTPUT-FOLDER", "a folder stands where a file is to be written", "name a file inside it"},
    {Code::kOutputForeign, "OUTPUT-FOREIGN", "a folder to be replaced holds what the tool did not put there", "move away what is to be kept, or choose another name"},
    {Code::kOutputLeft, "OUTPUT-LEFT", "the new folder is complete, but not everything in the one that it replaced could be removed", "look what is to be kept in the folder that is named, and remove it"},
    {Code::kOutputReadOnly, "OUTPUT-READ-ONLY", "a file that is to be changed has no write permission", "`--force`, or write a new file with `-o`"},
    {Code::kOutputShort, "OUTPUT-SHORT", "the output could not be written completely, or does not read back", "make room on the disk"},
    {Code::kOutputUnwritable, "OUTPUT-UNWRITABLE", "the output cannot be written; the text is the system's", "choose another place"},
    {Code::kOutsideVat, "OUTSIDE-VAT", "a piece reaches out of the vat", "`--drop`, a larger vat"},
    {Code::kSimplifyNothing, "SIMPLIFY-NOTHING", "the mesh has no more facets than asked for", "none needed", kWarning},
    {Code::kSimplifyTarget, "SIMPLIFY-TARGET", "the result is more than 5 % away from the number of facets that was asked for", "none needed; another number of facets", kNote},
    {Code::kSlcDiffers, "SLC-DIFFERS", "loaded and saved again, a slice-contour file is not the same", "keep the original; report it"},
    {Code::kSlcHeader, "SLC-HEADER", "no header of a slice-contour file; a warning when new extents do not fit the header", "check that it is the file you mean", kError, kAlsoWarning},
    {Code::kSlcNan, "SLC-NAN", "a contour has a vertex that is not finite; an error where it would have to be mirrored", "slice the part again", kWarning, kAlsoError},
    {Code::kSlcReserved, "SLC-RESERVED", "the reserved block of a slice-contour file holds more than zeros", "none needed", kNote},
    {Code::kSlcShort, "SLC-SHORT", "a slice-contour file ends too early; says where", "slice the part again"},
    {Code::kSlcTable, "SLC-TABLE", "the sampling table of a slice-contour file has no entry", "slice the part again"},
    {Code::kSlcTrailing, "SLC-TRAILING", "bytes behind the terminator of a slice-contour file were not read", "none needed", kNote},
    {Code::kSlcWinding, "SLC-WINDING", "the contours of a layer enclose a negative area", "outer contours run counterclockwise, those of holes clockwise", kWarning},
    {Code::kStampLong, "STAMP-LONG", "the stamped header has no room for the checksum", "none: the file is whole, its stamp cannot be verified", kWarning},
    {Code::kStlCount, "STL-COUNT", "a binary STL file announces no facet", "export the part again"},
    {Code::kStlCrc, "STL-CRC", "the checksum in the STL header does not match the facets", "get the file again", kWarning},
    {Code::kStlHeader, "STL-HEADER", "the file is shorter than the header of a binary STL file", "export the part again"},
    {Code::kStlTooLarge, "STL-TOO-LARGE", "more than 26 million facets", "simplify the part where it was made"},
    {Code::kStlTrailing, "STL-TRAILING", "bytes after the last facet were not read", "none needed", kNote},
    {Code::kStlUnjoined, "STL-UNJOINED", "no two facets share a corner", "export the part again"},
    {Code::kStyleJson, "STYLE-JSON", "the document to import is no style, or holds what a file cannot; a warning for parameters it does not give", "correct the place that is named", kError, kAlsoWarning},
    {Code::kStyleKind, "STYLE-KIND", "a recoat style where a build style is wanted, or the reverse", "the other command"},
    {Code::kStyleLayouts, "STYLE-LAYOUTS", "the files compared have different layouts, or a file to upgrade has the new one already", "none needed", kNote},
    {Code::kStyleLegacy, "STYLE-LEGACY", "a legacy recoat style is to be changed, but is only read", "`trqprep recoat upgrade` first"},
    {Code::kStyleLength, "STYLE-LENGTH", "bytes stand between a style's layout and the end of its file", "copy the file again from where it came"},
    {Code::kStyleLost, "STYLE-LOST", "a stored value comes out different when the file is written again; a warning when it is about to be", "look at the value that is named", kError, kAlsoWarning},
    {Code::kStyleNameDecides, "STYLE-NAME-DECIDES", "the content fits both kinds of style or neither; the file's name decided", "`verify` tells what is wrong with it", kNote},
    {Code::kStyleNotEditable, "STYLE-NOT-EDITABLE", "a parameter was set that the user interface does not let be edited", "none needed", kWarning},
    {Code::kStyleParameter, "STYLE-PARAMETER", "no parameter has that name or matches that pattern", "the hint names the nearest; `trqprep params` lists them"},
    {Code::kStyleRefused, "STYLE-REFUSED", "a value outside the range or the allowed values, or a parameter that cannot be set; nothing was written", "as the text and the hint say"},
    {Code::kStyleShort, "STYLE-SHORT", "a style file ends inside its layout", "copy the file again from where it came"},
    {Code::kStyleSkipped, "STYLE-SKIPPED", "a pattern of `copy` means a parameter that cannot be copied", "none needed", kNote},
    {Code::kStyleSlack, "STYLE-SLACK", "bytes without a meaning (after a text's NUL, in unused fields) are not kept by reading and writing", "none needed", kNote},
    {Code::kStyleUnits, "STYLE-UNITS", "the file does not say its units, or has the wanted ones", "`--from` says what they are", kError, kAlsoWarning | kAlsoNote},
    {Code::kStyleUnknown, "STYLE-UNKNOWN", "the file begins like no style of that kind", "`trqprep info` tells what it holds"},
    {Code::kStyleValue, "STYLE-VALUE", "a value is no number, or carries a unit", "the number alone, in the file's own units"},
    {Code::kTransformNothing, "TRANSFORM-NOTHING", "no transformation was given", "name one", kWarning},
    {Code::kUnitsUnknown, "UNITS-UNKNOWN", "a CTL file does not say its unit", "`--units mm` or `--units in`", kWarning},
    {Code::kUsage, "USAGE", "the command line makes no sense", "the hint names what may have been meant"},
    {Code::kVdLine, "VD-LINE", "a line of a vents-and-drains file is not seven numbers; an error when none is", "correct or remove the line", kWarning, kAlsoError},
    {Code::kVerifyCount, "VERIFY-COUNT", "a build folder holds other facets or pieces than it says, or elsewhere", "build again"},
    {Code::kVerifyFile, "VERIFY-FILE", "a file of a build folder is missing", "build again"},
    {Code::kVerifyForeign, "VERIFY-FOREIGN", "a file in a build folder is not of the build", "none needed; `--strict` refuses it", kNote, kAlsoError},
    {Code::kVerifyHash, "VERIFY-HASH", "a file of a build folder was changed", "build again"},
    {Code::kZcompHigh, "ZCOMP-HIGH", "facets are raised by more than the part is high", "check the unit of the height", kWarning},
    {Code::kZcompNoHeight, "ZCOMP-NO-HEIGHT", "a build style gives no height of at least one layer", "check its cure depths, `Dp`, `Ec` and thickness"},
    {Code::kZcompNothing, "ZCOMP-NOTHING", "no facet faces down", "none needed", kWarning},
};
// clang-format on

constexpr bool StandInTheirOrder() {
  size_t i = 0;
  for (const MessageRow& row : kRows) {
    if (size_t(row.code) != i++) return false;
  }
  return true;
}
static_assert(StandInTheirOrder(), "a row stands at the number of its code");

}  // namespace

const MessageRow* MessageTable::begin() const { return std::begin(kRows); }
const MessageRow* MessageTable::end() const { return std::end(kRows); }

const MessageRow& RowOf(Code code) { return kRows[size_t(code)]; }

const MessageRow* FindRow(std::string_view text) {
  for (const MessageRow& row : kRows) {
    if (row.text == text) return &row;
  }
  return nullptr;
}

}  // namespace trqprep
