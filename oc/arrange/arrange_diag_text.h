// Texts, colours and shapes shared by the arranger's diagnostic records (arrange_diags.h).
//
// Every text is a wide string in the fixed layouts the records use; numbers go through the
// core library's number-to-text functions (xfStr: six significant digits; xfDbl(v, 3, false):
// three decimals; xfHex(key, 8): eight upper-case hexadecimal digits). None of these
// functions throws for any input (out-of-range enumerations print "BadEnumValue", keys
// missing from the alphabet print "Key not found in alphabet!").
#pragma once

#include <string>
#include <vector>

#include "oc/font/model.h"
#include "platform/core/affine_rectangle.h"
#include "platform/core/angle.h"
#include "platform/core/rigid.h"
#include "platform/core/vector.h"
#include "platform/core/xform.h"
#include "platform/diag/color.h"
#include "platform/diag/graphic_list.h"

class xcOCAlphabet;

// "( x , y )" with xfStr of each coordinate.
std::wstring xf_ArrangeVectorText(const xcVector<2>& v);
// xfDbl(angle in degrees, 3, false) + " degrees ".
std::wstring xf_ArrangeAngleText(xcRadian angle);
// " < xc2Rigid > " + vector text of the translation + " : " + angle text of the rotation.
std::wstring xf_ArrangeRigidText(const xc2Rigid& rigid);
// " < xc2Xform > " + vector text of the translation + " : " + " < xc2Matrix > [ m00 , m01 ,
// m10 , m11 ] " (xfStr of each element).
std::wstring xf_ArrangeXformText(const xcXform<2>& xform);
// The transform text followed by the matrix's decomposition: " xRot=" + angle text +
// " yRot=" + angle text + " xScale=" + xfDbl(xScale, 3, false) + " yScale=" + xfDbl(yScale, 3,
// false).
std::wstring xf_ArrangeDecomposedXformText(const xcXform<2>& xform);

// "eNormal", "eBlank", otherwise "BadEnumValue".
std::wstring xf_ArrangeCharTypeName(long type);
// "eMatched " (0), "eInferred" (1), "eUnknown " (2), otherwise "BadEnumValue": the names of
// the position statuses line up in a tab-separated column, trailing spaces included.
std::wstring xf_ArrangeStatusName(long status);

// The table of a list of keys against an alphabet:
//   "Number of characters: N\n" "Index\tKey\t\tName\tType\tSize\n"
// and per key i: i "\t" KEY8 "\t" then "'name'\ttype\tW x H" (the model's image area) or
// "Key not found in alphabet!", then "\n".
std::wstring xf_ArrangeKeyListText(const std::vector<long>& keys, const xcOCAlphabet& alphabet);

// ---- Colours and pens ---------------------------------------------------------------------

// The colour of a character's graphics by its status: green for eMatched, orange for
// eInferred. Other statuses are not drawn (xf_ArrangeStatusIsDrawn is false).
bool xf_ArrangeStatusIsDrawn(long status);
xcColor xf_ArrangeStatusColor(long status);
// The pens: cell rectangles 1 px of the status colour, direction ticks 2 px of the same
// colour, origin marks 1 px yellow, fitted lines and arcs 2 px red (all solid, pen style 0,
// no highlight). Enclosing rectangles of lines are yellow with-fill rectangles, not filled.
xcGraphicProps xf_ArrangeCellPen(long status);
xcGraphicProps xf_ArrangeTickPen(long status);
xcGraphicProps xf_ArrangeOriginPen();
xcGraphicProps xf_ArrangeLinePen();

// ---- The character graphic ----------------------------------------------------------------

// The cell rectangle of a model in its client frame: the image area's upper-left,
// upper-right and lower-left corners mapped through the model image's client-from-image
// transform (the identity for a model without an image).
xcAffineRectangle xf_ArrangeCellRect(const xcOCModel& model);

// Appends the graphic of one character to `list`, in the frame that `clientFromChar` maps
// the character's client frame into: the cell rectangle mapped by the transform (cell pen of
// `status`), the direction tick from the character's origin (0, 0) to (0.5 * min(xLength,
// yLength) of the unmapped cell, 0), mapped (tick pen), and a point icon at the mapped origin
// (origin pen). Nothing is appended for a status that is not drawn.
void xf_AddArrangeCharGraphic(xcGraphicList& list, const xcAffineRectangle& cellRect,
                              const xcXform<2>& clientFromChar, long status);
