// The command line as commands declare it. CLI11 stands behind it in command_line.cpp only: what it costs a compiler is
// several times what a command costs.
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace vosctl {

/** An option or a positional argument; each call gives it again, so that they stand one behind the other. */
class Argument {
  public:
    explicit Argument(CLI::Option *option) : option_{option} {}
    CLI::Option *option() const { return option_; }

    /** What its value is called in the help; completion goes by it too. */
    Argument called(const std::string &typeName) const;
    Argument describedAs(const std::string &help) const;
    Argument required() const;
    /** The help tells the value that it has without being given. */
    Argument showsDefault() const;
    /** One value each time it is given, not all words that follow. */
    Argument oneValueEach() const;
    Argument excludes(Argument other) const;
    Argument needs(Argument other) const;
    /** `check` says what is wrong with a value, nothing for a good one. */
    Argument check(std::function<std::string(const std::string &)> check) const;
    Argument within(uint32_t least, uint32_t most) const;
    Argument within(double least, double most) const;
    Argument oneOf(std::initializer_list<const char *> values) const;
    Argument anExistingPath() const;
    Argument anExistingFile() const;
    Argument anExistingDirectory() const;

  private:
    CLI::Option *option_;
};

/** The arguments of a command. */
class Arguments {
  public:
    explicit Arguments(CLI::App *app) : app_{app} {}
    CLI::App *app() const { return app_; }

    /** Names as "-c,--count"; without dashes a positional argument. Of the types that command_line.cpp names. */
    template <typename T>
    Argument option(const std::string &names, T &value, const std::string &help) const;
    Argument flag(const std::string &names, bool &value, const std::string &help) const;
    Arguments subcommand(const std::string &name, const std::string &summary) const;
    void needsSubcommand() const;
    void footer(const std::string &text) const;
    /** In no help and no completion. */
    void hide() const;
    void runs(std::function<void()> command) const;

  private:
    CLI::App *app_;
};

}  // namespace vosctl
