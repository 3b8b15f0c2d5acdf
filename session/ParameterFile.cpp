#include "KORInterface/ParameterFile.h"

#include <algorithm>
#include <array>
#include <exception>
#include <filesystem>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "KORInterface/Status.h"
#include "params/file/Blocks.h"
#include "params/file/Document.h"
#include "params/file/Fields.h"
#include "params/file/FileName.h"
#include "platform/Files.h"
#include "platform/Text.h"
#include "session/ParameterFileData.h"

namespace kor {

using params::Document;
using params::DocumentBlock;
using params::Item;
using params::kBlocks;
using params::Layout;

void ParameterFileData::addTexts()
{
    texts.reserve(document.bytes.size());
    for (const DocumentBlock& block : document.blocks) {
        BlockTexts& into = blocks.emplace_back();
        into.title = add(block.title);
        into.whole = add(document.textOf(block.whole));
        into.word = add(document.textOf(block.word));
        into.values = addAll(block.values);
        into.extras = addAll(block.extras);
    }
    constexpr std::size_t kShown = 60;
    const std::string_view behind = platform::trimmed(document.rest(), " \t\n\v\f\r");
    restBytes = behind.size();
    rest = add(behind.substr(0, kShown));
}

namespace {

std::uint32_t narrow(std::uint64_t number)
{
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(number, std::numeric_limits<std::uint32_t>::max()));
}

ParameterLayout layoutOf(Layout layout)
{
    switch (layout) {
    case Layout::fileId:
    case Layout::integer:
        return ParameterLayout::integer;
    case Layout::word:
        return ParameterLayout::word;
    case Layout::rows:
        return ParameterLayout::rows;
    case Layout::separate:
        return ParameterLayout::separate;
    case Layout::encoderTable:
        return ParameterLayout::encoderTable;
    case Layout::tiltTable:
        break;
    }
    return ParameterLayout::tiltTable;
}

// Nothing but the result stays of what the object held before.
int fail(ParameterFileData& data, int status, const char* expected = "", std::string_view found = {}) noexcept
{
    data = ParameterFileData();
    data.document.status = status;
    data.document.expected = expected;
    try {
        data.document.found = found;
    } catch (const std::exception&) {
        data.document.found.clear();
    }
    return status;
}

int load(ParameterFileData& data, const std::string& path, std::optional<std::uint32_t> id)
{
    const platform::FileStatus there = platform::fileStatus(path);
    platform::File file = platform::openFile(path, platform::OpenMode::read);
    if (!file) {
        fail(data, kCannotOpen);
        data.path = path;
        return kCannotOpen;
    }
    std::string bytes;
    bytes.reserve(static_cast<std::size_t>(std::min<std::uint64_t>(there.size, Document::kMostBytes)));
    std::array<char, 16384> buffer;
    std::ptrdiff_t got = 0;
    while (bytes.size() <= Document::kMostBytes && (got = file.read(buffer.data(), buffer.size())) > 0) {
        bytes.append(buffer.data(), static_cast<std::size_t>(got));
    }
    if (got < 0 || bytes.size() > Document::kMostBytes) {
        fail(data, got < 0 ? kCannotOpen : kFormatError, got < 0 ? "" : "a parameter file of at most 16 MiB",
             got < 0 ? std::string() : std::to_string(std::max<std::uint64_t>(there.size, bytes.size())) + " bytes");
        data.path = path;
        data.document.tooLarge = got >= 0;
        return data.document.status;
    }
    ParameterFileData fresh;
    fresh.path = path;
    fresh.document = params::takeApart(std::move(bytes), id);
    fresh.addTexts();
    data = std::move(fresh);
    return data.document.status;
}

// Runs a load; without memory for it the result is that of a read without memory.
template <typename Load>
int guarded(ParameterFile& file, Load&& step) noexcept
{
    ParameterFileData& data = ParameterFileAccess::data(file);
    try {
        return step(data);
    } catch (const std::exception&) {
        fail(data, kFormatError, "a file that fits into the memory");
        data.outOfMemory = true;
        return kFormatError;
    }
}

ParameterValue valueOf(const ParameterFileData& data, const Item& item, std::uint32_t text)
{
    return {data.texts.c_str() + text, item.line, item.readable, data.document.numberOf(item),
            item.readable ? item.single : 0.0F};
}

ParameterValue noValue()
{
    return {"", 0, false, 0.0, 0.0F};
}

ParameterValue valueIn(const ParameterFileData& data, const std::vector<Item>& items,
                       const std::vector<std::uint32_t>& texts, std::uint32_t index)
{
    return index < items.size() ? valueOf(data, items[index], texts[index]) : noValue();
}

} // namespace

std::uint32_t ParameterBlockKinds()
{
    return static_cast<std::uint32_t>(kBlocks.size());
}

ParameterBlockKind ParameterBlockKindOf(std::uint32_t kind)
{
    if (kind >= kBlocks.size()) {
        return {"", ParameterLayout::integer, 0, 0, 0, false, false};
    }
    const params::Block& block = kBlocks[kind];
    const bool isTable = block.layout == Layout::encoderTable || block.layout == Layout::tiltTable;
    std::uint32_t fields = 0;
    while (params::fieldOf(block, fields) != nullptr) {
        ++fields;
    }
    const std::uint32_t rows = isTable || block.columns == 0 ? 0 : std::max<std::uint32_t>(block.rows, 1);
    return {block.title,      layoutOf(block.layout), rows, block.columns, fields, block.atEnd == params::AtEnd::fail,
            block.modeSevenUp};
}

ParameterField ParameterFieldOf(std::uint32_t kind, std::uint32_t field)
{
    const params::Field* const found = kind < kBlocks.size() ? params::fieldOf(kBlocks[kind], field) : nullptr;
    if (found == nullptr) {
        return {"", "", 0.0, 0.0, false};
    }
    return {params::fieldName(kBlocks[kind], field), found->unit, found->least, found->most, found->eitherSign};
}

bool ModelUsesBlock(OrientationModel model, std::uint32_t kind)
{
    return kind < kBlocks.size() && (params::modelsOf(kBlocks[kind]) & params::bitOf(model)) != 0;
}

bool ModelUsesField(OrientationModel model, std::uint32_t kind, std::uint32_t field)
{
    const params::Field* const found = kind < kBlocks.size() ? params::fieldOf(kBlocks[kind], field) : nullptr;
    return found != nullptr && (found->models & params::bitOf(model)) != 0;
}

ParameterFile::ParameterFile() : m_data(new ParameterFileData) {}

ParameterFile::ParameterFile(const ParameterFile& other) : m_data(new ParameterFileData(*other.m_data)) {}

ParameterFile& ParameterFile::operator=(const ParameterFile& other)
{
    if (this != &other) {
        guarded(*this, [&other](ParameterFileData& data) {
            ParameterFileData copy = *other.m_data;
            data = std::move(copy);
            return data.document.status;
        });
    }
    return *this;
}

ParameterFile::~ParameterFile()
{
    delete m_data;
}

int ParameterFile::status() const
{
    return m_data->document.status;
}

bool ParameterFile::outOfMemory() const
{
    return m_data->outOfMemory;
}

unsigned int ParameterFile::message() const
{
    return m_data->document.messageId;
}

std::uint32_t ParameterFile::line() const
{
    return m_data->document.line;
}

const char* ParameterFile::block() const
{
    return m_data->document.block;
}

const char* ParameterFile::expected() const
{
    return m_data->document.expected;
}

const char* ParameterFile::found() const
{
    return m_data->document.found.c_str();
}

const char* ParameterFile::path() const
{
    return m_data->path.c_str();
}

ParameterEncoding ParameterFile::encoding() const
{
    return static_cast<ParameterEncoding>(m_data->document.encoding);
}

std::int32_t ParameterFile::mode() const
{
    return m_data->document.mode;
}

std::uint32_t ParameterFile::blocks() const
{
    return narrow(m_data->document.blocks.size());
}

ParameterBlock ParameterFile::block(std::uint32_t index) const
{
    if (index >= m_data->document.blocks.size()) {
        return {ParameterBlockKinds(), "", 0, 0, noValue(), 0, noValue(), 0, 0, 0, 0};
    }
    const DocumentBlock& block = m_data->document.blocks[index];
    const ParameterFileData::BlockTexts& texts = m_data->blocks[index];
    const std::uint32_t columns = block.kind().columns;
    return {narrow(block.index),
            m_data->texts.c_str() + texts.title,
            block.line,
            block.lastLine,
            valueOf(*m_data, block.whole, texts.whole),
            block.number,
            valueOf(*m_data, block.word, texts.word),
            columns == 0 ? 0 : narrow(block.values.size() / columns),
            columns,
            narrow(block.extras.size()),
            block.unread};
}

std::uint32_t ParameterFile::find(std::uint32_t kind) const
{
    const std::vector<DocumentBlock>& all = m_data->document.blocks;
    const auto found =
        std::find_if(all.begin(), all.end(), [kind](const DocumentBlock& block) { return block.index == kind; });
    return narrow(static_cast<std::uint64_t>(found - all.begin()));
}

ParameterValue ParameterFile::value(std::uint32_t block, std::uint32_t index) const
{
    return block >= m_data->blocks.size()
               ? noValue()
               : valueIn(*m_data, m_data->document.blocks[block].values, m_data->blocks[block].values, index);
}

ParameterValue ParameterFile::extra(std::uint32_t block, std::uint32_t index) const
{
    return block >= m_data->blocks.size()
               ? noValue()
               : valueIn(*m_data, m_data->document.blocks[block].extras, m_data->blocks[block].extras, index);
}

std::uint32_t ParameterFile::restLine() const
{
    return m_data->restBytes == 0 ? 0 : m_data->document.restLine;
}

const char* ParameterFile::rest() const
{
    return m_data->texts.c_str() + m_data->rest;
}

std::uint64_t ParameterFile::restBytes() const
{
    return m_data->restBytes;
}

std::uint32_t ParameterFile::textEndLine() const
{
    return m_data->document.endLine;
}

int LoadParameterFile(ParameterFile& file, const char* directory, std::uint32_t id)
{
    return guarded(file, [directory, id](ParameterFileData& data) {
        if (directory == nullptr) {
            return fail(data, kBadArgument);
        }
        const std::optional<std::string> folder =
            *directory == '\0' ? platform::currentDirectory() : std::string(directory);
        const std::optional<std::wstring> wide = folder ? platform::fromUtf8(*folder) : std::nullopt;
        if (!wide || wide->size() > params::kLongestDirectory) {
            return fail(data, kCannotOpen);
        }
        return load(data, platform::joinPath(*folder, params::fileNameOf(static_cast<std::int32_t>(id))), id);
    });
}

int LoadParameterFile(ParameterFile& file, const char* path)
{
    return guarded(file, [path](ParameterFileData& data) {
        if (path == nullptr) {
            return fail(data, kBadArgument);
        }
        const std::optional<std::int32_t> id =
            params::idOfFileName(platform::textOf(platform::pathFrom(path).filename()));
        return load(data, path, id ? std::optional<std::uint32_t>(static_cast<std::uint32_t>(*id)) : std::nullopt);
    });
}

int LoadParameterBytes(ParameterFile& file, const char* bytes, unsigned long long size)
{
    return guarded(file, [bytes, size](ParameterFileData& data) {
        if (bytes == nullptr) {
            return fail(data, kBadArgument);
        }
        if (size > Document::kMostBytes) {
            fail(data, kFormatError, "a parameter file of at most 16 MiB", std::to_string(size) + " bytes");
            data.document.tooLarge = true;
            return data.document.status;
        }
        ParameterFileData fresh;
        fresh.document = params::takeApart(std::string(bytes, size), std::nullopt);
        fresh.addTexts();
        data = std::move(fresh);
        return data.document.status;
    });
}

} // namespace kor
