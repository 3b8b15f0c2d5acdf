// A parameter file as it stands, value by value, and what its values mean: additions beside the system's own interface.
//
// CKorPrm takes from a parameter file what the engine needs. A ParameterFile keeps all of it: the blocks in their
// order, the lines, the values that could not be read, and what stands behind the last block.
#ifndef KORINTERFACE_PARAMETERFILE_H
#define KORINTERFACE_PARAMETERFILE_H

#include <cstddef>
#include <cstdint>

#include "KORInterface/Export.h"
#include "KORInterface/OrientationModel.h"

namespace kor {

/// How the values of a block are laid out.
enum class ParameterLayout : std::int32_t {
    integer = 0,      ///< one whole number: ID or mount mode
    word = 1,         ///< one word
    rows = 2,         ///< a fixed number of rows
    separate = 3,     ///< a fixed number of values, each for itself
    encoderTable = 4, ///< a count, then as many rows
    tiltTable = 5     ///< a count, then as many rows, one row of three extra values, one word
};

/// One of the blocks that the format has. The title lives as long as the library is loaded.
struct ParameterBlockKind {
    const char* title; ///< as it stands in parameter files
    ParameterLayout layout;
    std::uint32_t rows;    ///< 0 for tables; 1 for separate values
    std::uint32_t columns; ///< values of a row, 0 without rows
    std::uint32_t fields;  ///< fields of ParameterFieldOf: for a table, those of one row and the extra values
    bool required;         ///< a file that ends before it is refused, if its mount mode has the block at all
    bool modeSevenUp;      ///< only in mount modes 7 and above
};

/// Meaning of one value of a block. The texts are UTF-8 and live as long as the library is loaded.
struct ParameterField {
    const char* name; ///< lower case, unique in its block; empty for an index that the block does not have
    const char* unit; ///< empty for a plain number
    double least;     ///< of the plausible numbers
    double most;
    bool eitherSign; ///< least and most bound the magnitude, not the number
};

/// Number of blocks that the format has.
KORINTERFACE_API std::uint32_t ParameterBlockKinds();

/// A block of the format, in the order of the file.
/// Given  kind  below ParameterBlockKinds(); any other gives an empty title
KORINTERFACE_API ParameterBlockKind ParameterBlockKindOf(std::uint32_t kind);

/// A value of a block of the format.
/// Given  field  below the block's number of fields. Of rows and separate values the values in their order; of a table
///               0 and 1 its columns; of a tilt table also 2, 3 and 4, its extra values
KORINTERFACE_API ParameterField ParameterFieldOf(std::uint32_t kind, std::uint32_t field);

/// Whether a model's orientation depends on a block, or on one of its fields.
KORINTERFACE_API bool ModelUsesBlock(OrientationModel model, std::uint32_t kind);
KORINTERFACE_API bool ModelUsesField(OrientationModel model, std::uint32_t kind, std::uint32_t field);

/// What the bytes of a file are.
enum class ParameterEncoding : std::int32_t {
    text = 0,
    utf16 = 1,      ///< two bytes a character
    compressed = 2, ///< gzip, Zstandard, Zip, bzip2 or xz
    binary = 3      ///< zeros or other control characters in it
};

/// One value of a file. The text is UTF-8 and lives as long as the object that handed it out.
struct ParameterValue {
    const char* text;   ///< as it stands, but \xNN for control characters and invalid UTF-8; empty if nothing was there
    std::uint32_t line; ///< from 1; 0 if the read did not look for it
    bool readable;      ///< whether the library takes it; if not, the value keeps its previous content
    double number;      ///< what the text says, in double precision; 0 unless readable
    float single;       ///< what the library stores; 0 unless readable
};

/// A block that a read has met. The texts are UTF-8 and live as long as the object that handed it out.
struct ParameterBlock {
    std::uint32_t kind;     ///< for ParameterBlockKindOf
    const char* title;      ///< the words of the title line as they stand, joined with single blanks
    std::uint32_t line;     ///< of the title
    std::uint32_t lastLine; ///< of its last value
    ParameterValue whole;   ///< ID, mount mode or row count; empty text otherwise
    std::int64_t integer;   ///< the same as a number
    ParameterValue word;    ///< owner, or the word behind a tilt table; empty text otherwise
    std::uint32_t rows;     ///< rows that value() hands out; of a table perhaps fewer than its count says
    std::uint32_t columns;  ///< values of a row
    std::uint32_t extras;   ///< extra values of a tilt table
    std::uint64_t unread;   ///< values that the block should have and that could not be read
};

struct ParameterFileData;

/// The whole content of a parameter file.
///
/// Notes  1  The texts that the operations hand out live as long as the object and until it is used for another file.
///        2  Only the constructors throw, and only the allocator's std::bad_alloc.
class KORINTERFACE_API ParameterFile {
public:
    ParameterFile();
    ParameterFile(const ParameterFile& other);
    ParameterFile& operator=(const ParameterFile& other);
    ~ParameterFile();

    /// Result that ReadCalibrationFile of a new object has for this file: kSuccess, kBadArgument, kCannotOpen or
    /// kFormatError (Status.h); kFormatError also for a file of more than 16 MiB, which is not taken apart.
    int status() const;

    /// Whether there was not enough memory to take the file apart: the result is kFormatError then, too, and nothing is
    /// known of the file.
    bool outOfMemory() const;

    /// Where and why that read fails, as ReadReport tells it; empty texts after a success.
    unsigned int message() const;
    std::uint32_t line() const;
    const char* block() const;
    const char* expected() const;
    const char* found() const;

    /// Path of the file, UTF-8.
    const char* path() const;

    ParameterEncoding encoding() const;

    /// Mount mode of the file, 0 if it has none.
    std::int32_t mode() const;

    /// Number of the blocks that the read met, also if it failed.
    std::uint32_t blocks() const;

    /// A block in the order of the file.
    /// Given  index  below blocks(); any other gives kind ParameterBlockKinds()
    ParameterBlock block(std::uint32_t index) const;

    /// Index of the block of a kind; blocks() if the read did not meet one.
    std::uint32_t find(std::uint32_t kind) const;

    /// A value of a block, an extra value of a tilt table.
    /// Given  block  below blocks()
    ///        index  row times columns plus column; below 3 for an extra value. Any other gives an unreadable value
    ParameterValue value(std::uint32_t block, std::uint32_t index) const;
    ParameterValue extra(std::uint32_t block, std::uint32_t index) const;

    /// What stands behind the last block and is ignored.
    /// Returned  restLine  its first line, 0 if there is nothing
    ///           rest      its first sixty characters
    ///           restBytes its length without the white space around it
    std::uint32_t restLine() const;
    const char* rest() const;
    std::uint64_t restBytes() const;

    /// Line of the byte 0x1A that ends the text before the end of the file; 0 if there is none.
    std::uint32_t textEndLine() const;

private:
    friend struct ParameterFileAccess;
    ParameterFileData* m_data;
};

/// Takes a sensor's parameter file apart.
/// Given     directory  UTF-8; empty is the current directory
///           id         sensor ID: the file is DIRECTORY/Tg<id>.prm, and holds that ID
/// Returned  file       what it holds
///           result     file.status()
KORINTERFACE_API int LoadParameterFile(ParameterFile& file, const char* directory, std::uint32_t id);

/// The same by the file's path. A file whose name is Tg<id>.prm, in upper or lower case, must hold that ID; a file with
/// another name may hold any ID.
KORINTERFACE_API int LoadParameterFile(ParameterFile& file, const char* path);

/// The same for bytes in memory, which may hold any ID.
KORINTERFACE_API int LoadParameterBytes(ParameterFile& file, const char* bytes, unsigned long long size);

} // namespace kor

#endif
