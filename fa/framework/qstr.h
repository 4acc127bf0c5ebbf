// String helpers of the framework. All are pure functions of their arguments, safe on any thread.
#pragma once

#include <string>

namespace Talwen {

/// True when the texts (or their first n bytes) are equal, byte for byte.
bool QStr_Compare(const char* a, const char* b);
bool QStr_Compare(const char* a, const char* b, int n);
/// The same for whole words of commands and files: blanks round a word do not count. Case does.
bool QStr_Compare_L(const char* a, const char* b);
bool QStr_Compare_L(const char* a, const char* b, int n);
/// True when `text` contains `part`.
bool QStr_Find_SubString(const char* text, const char* part);
bool QStr_Find_SubString_L(const char* text, const char* part);
/// Copies at most size - 1 bytes and a NUL; false when the text was cut.
bool QStr_Copy_Stack(char* out, const char* text, int size);
/// Reads "SxFy" (also "SxxFyy"), x 0 to 127 and y 0 to 255; false, outputs untouched, for anything else.
bool QStr_Check_SxxFxx(const char* text, unsigned char* stream, unsigned char* function);
/// Nonzero when the text is a decimal integer, sign allowed, with nothing after it.
int QStr_Int_Check(const char* text);
/// The integer in `count` characters from `start`; 0 where the text is shorter or holds no digits.
int QStr_Ext_Int_From_Str(const char* text, int start, int count);
/// Copies `count` characters from `start`, cut at the text's end, with a NUL.
void QStr_Ext_Str_From_Str(const char* text, int start, int count, char* out);
/// Text of the last system error of this thread.
const char* QStr_Get_SysErrMsg();
/// The part before (after) the first `mark`; the whole text when it has none.
std::string QStr_Left(const std::string& text, char mark);
std::string QStr_Right(const std::string& text, char mark);
/// Removes blanks and tabs at both ends (at the end).
void QStr_Trimed(std::string& text);
void QStr_Del_TailSpace(std::string& text);
/// Removes every `mark`; replaces every `mark` by `by`.
void QStr_Remove(std::string& text, char mark);
void QStr_Replace(std::string& text, char mark, char by);

/// First word and the rest, split at white space; each output cut to size - 1 bytes.
void QStr_Seperate(const char* text, char* first, char* rest, int size);

/// Splits a text at `mark` into as many fields as there are outputs; the last output is all that is left.
/// Mark 13 means white space (blank, tab, CR, LF): runs of it count once and are trimmed off the ends of the
/// last output. Missing fields are empty; each output is cut to size - 1 bytes.
void QStr_Seperate_Char(const char* text, char mark, char* o1, char* o2, int size);
void QStr_Seperate_Char(const char* text, char mark, char* o1, char* o2, char* o3, int size);
void QStr_Seperate_Char(const char* text, char mark, char* o1, char* o2, char* o3, char* o4, int size);
void QStr_Seperate_Char(const char* text, char mark, char* o1, char* o2, char* o3, char* o4, char* o5,
                        int size);
void QStr_Seperate_Char(const std::string& text, char mark, std::string& o1, std::string& o2, int size);
void QStr_Seperate_Char(const std::string& text, char mark, std::string& o1, std::string& o2, std::string& o3,
                        int size);
void QStr_Seperate_Char(const std::string& text, char mark, std::string& o1, std::string& o2, std::string& o3,
                        std::string& o4, std::string& o5, int size);

}  // namespace Talwen
