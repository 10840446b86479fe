#include "kr/zero/io/Parser.h"

#include <ios>
#include <istream>
#include <stdexcept>

#include "io/NotNull.h"

namespace kr::zero::io {

/// Calls the parse hook of the kind of input.
class Parser::Dispatch final : public ParsingInput::Visitor {
 public:
  explicit Dispatch(Parser& parser) : parser_(parser) {}
  void visitFile(const ustring& path) override { result_ = parser_.doParseFile(path); }
  void visitStream(std::istream& stream) override { result_ = parser_.doParseStream(stream); }
  void visitString(const std::string& text) override { result_ = parser_.doParseString(text); }
  void visitUString(const ustring& text) override { result_ = parser_.doParseString(text); }
  void visitIntermediateFormat(const void*) override {
    parser_.processor_->addProblem("this parser reads bytes, not an intermediate form");
  }
  void visitLittleEndianByteSequence(const std::vector<unsigned char>& bytes) override {
    result_ = parser_.doParseByteSequence(bytes);
  }
  bool getResult() const noexcept { return result_; }

 private:
  Parser& parser_;
  bool result_ = false;
};

Parser::Parser(std::unique_ptr<ParseCustomizer> customizer, std::unique_ptr<ParsingModelBuilder> builder)
    : customizer_(internal::notNull(std::move(customizer), "a parser needs a customizer")),
      builder_(internal::notNull(std::move(builder), "a parser needs a model builder")),
      processor_(std::make_unique<ParseProcessor>(*customizer_, *builder_)),
      span_("parse") {}

Parser::~Parser() = default;

void Parser::setParseProcessor(std::unique_ptr<ParseProcessor> processor) {
  processor_ = internal::notNull(std::move(processor), "a parser needs a processor");
}

bool Parser::parse(const ParsingInput& input) {
  struct Ending {
    Parser& parser;
    ~Ending() {
      parser.giveBackMemory();
      parser.processor_->giveBackMemory();
    }
  };
  const Ending ending{*this};
  span_ = log::Span("parse");
  accepted_ = false;
  processor_->setSpan(span_);
  processor_->startOver(options_);
  Dispatch dispatch(*this);
  input.visitInput(dispatch);
  if (dispatch.getResult()) finishParse();

  if (!dispatch.getResult()) {
    const std::string& refused = processor_->getCustomizer().getProblem();
    if (!refused.empty()) processor_->addProblem(refused);
    if (processor_->getProblems().empty()) processor_->addProblem("the reader refused the document");
  }
  return accepted_ = dispatch.getResult() && processor_->getProblems().empty();
}

Model Parser::takeModel() {
  if (!accepted_)
    throw std::logic_error("there is no model to take: no document was read, or the last was refused");
  accepted_ = false;
  return builder_->takeModel();
}

namespace {

[[noreturn]] void failStream() { throw std::ios_base::failure("the input stream failed while it was read"); }

/// What the buffer of a stream gives next; 0 at its end. A buffer that throws turns its stream bad, and
/// what it threw goes on only where the stream's owner asked for that.
std::size_t readPiece(std::istream& stream, std::vector<char>& piece) {
  try {
    return static_cast<std::size_t>(
        stream.rdbuf()->sgetn(piece.data(), static_cast<std::streamsize>(piece.size())));
  } catch (...) {
    const bool asked = (stream.exceptions() & std::ios_base::badbit) != 0;
    try {
      stream.setstate(std::ios_base::badbit);
    } catch (const std::ios_base::failure&) {
      // What the buffer threw says more.
    }
    if (asked) throw;
    failStream();
  }
}

}  // namespace

// Goes to the stream's buffer: an istream would raise its end as a failure where its owner asked for
// exceptions, and every stream of bytes ends.
bool Parser::doParseStream(std::istream& stream) {
  if (stream.fail()) failStream();
  std::vector<std::uint8_t> bytes;
  std::vector<char> piece(std::size_t{1} << 16);
  while (const std::size_t got = readPiece(stream, piece))
    bytes.insert(bytes.end(), piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(got));
  if (stream.bad()) failStream();
  if ((stream.exceptions() & std::ios_base::eofbit) == 0) stream.setstate(std::ios_base::eofbit);
  return doParseByteSequence(bytes);
}

void Parser::giveBackMemory() noexcept {}

void Parser::finishParse() {
  if (processor_->getDepth() != 0)
    processor_->addProblem("the document ends inside the element " + processor_->getPath());
}

Parser::Failure Parser::getFailure() const {
  Failure failure;
  const auto take = [this](const char* key, std::string& into) {
    if (const std::string* const found = span_->findContextBelow(key)) into = *found;
  };
  take("error-message", failure.detail);
  take("property", failure.property);
  take("property-type", failure.type);
  if (const std::string* const offset = span_->findContextBelow("byte-offset"))
    failure.byteOffset = std::stoull(*offset);
  if (processor_->getDepth() != 0) failure.path = processor_->getPath();
  return failure;
}

std::string Parser::describeFailure() const {
  const Failure failure = getFailure();
  std::string text;
  const auto add = [&](const char* before, const std::string& value) {
    if (!value.empty()) text += (text.empty() ? "" : ", ") + (before + value);
  };
  add("", failure.detail);
  add("at byte ", failure.byteOffset ? std::to_string(*failure.byteOffset) : std::string());
  add("in element ", failure.path);
  return text;
}

}  // namespace kr::zero::io
