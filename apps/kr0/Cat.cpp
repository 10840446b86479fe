#include <ostream>
#include <streambuf>

#include "Commands.h"
#include "Errors.h"
#include "Files.h"
#include "Tree.h"
#include "TreePrinters.h"
#include "kr/zero/io/TreeEvents.h"
#include "modeling/sylvan/EventPrinter.h"

namespace kr::zero::tool {

namespace {

// Lets an output stream write to standard output as everything else does.
class OutBuffer final : public std::streambuf {
 public:
  explicit OutBuffer(TextOut& out) : out_(out) {}

 private:
  int_type overflow(int_type character) override {
    if (!traits_type::eq_int_type(character, traits_type::eof()))
      out_ << traits_type::to_char_type(character);
    return traits_type::not_eof(character);
  }
  std::streamsize xsputn(const char* text, std::streamsize size) override {
    out_ << std::string_view(text, static_cast<std::size_t>(size));
    return size;
  }

  TextOut& out_;
};

template <class Send>
void printEvents(TextOut& out, const Send& send) {
  OutBuffer buffer(out);
  std::ostream stream(&buffer);
  stream.exceptions(std::ios::badbit);  // what the buffer throws goes on
  modeling::sylvan::EventPrinter printer(stream);
  send(printer);
}

void print(const Walk& walk, const ShowOptions& options, TextOut& out) {
  const Naming naming = options.stable ? Naming::stable : Naming::numbers;
  options.json ? printJson(walk, out, naming) : printText(walk, out, naming);
}

void addHeading(const ShowOptions& options, const InputOptions& input, TextOut& out) {
  if (!options.json) addHeading(options.inputs, input, out);
}

void catTagged(const Document& document, const ShowOptions& options, TextOut& out) {
  if (options.events)
    printEvents(out, [&](auto& printer) { sendTagged(document, printer); });
  else
    print([&](TreeVisitor& printer) { visitTagged(document, printer); }, options, out);
}

void catModel(const Model& model, const ShowOptions& options, TextOut& out) {
  if (options.events)
    printEvents(out, [&](auto& printer) { io::sendEvents(model, printer); });
  else
    print(
        [&](TreeVisitor& printer) {
          visitModel(model, printer, options.stable ? Naming::stable : Naming::numbers);
        },
        options, out);
}

}  // namespace

void cat(const ShowOptions& options) {
  if (options.json && options.events) throw WrongCall("--json and --events are two ways of printing");
  if (options.stable && options.events)
    throw WrongCall("--stable names elements, and --events tells no names");
  forEachInput(options.inputs, [&](const InputOptions& input, TextOut& out) {
    Document document = loadBytes(input);
    const bool isTagged =
        document.format == Format::krt && !options.stable && (input.metaModels.empty() || options.events);
    if (isTagged) {
      if (!options.events) {
        TreeVisitor nobody;
        checkTagged(document, nobody);  // before the first line is printed
      }
      addHeading(options, input, out);
      return catTagged(document, options, out);
    }
    const LoadedDocument loaded = [&] {
      ProgressBar progress;  // gone before the first line is printed
      return readModel(document, input, progress);
    }();
    document.bytes = {};  // the model holds everything now
    addHeading(options, input, out);
    catModel(loaded.model, options, out);
  });
}

}  // namespace kr::zero::tool
