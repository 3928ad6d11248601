// What commands declare, by CLI11.
#include "command_line.h"

#include <CLI/CLI.hpp>
#include <optional>
#include <vector>

namespace vosctl {

Argument Argument::called(const std::string &typeName) const {
    return Argument{option_->type_name(typeName)};
}

Argument Argument::describedAs(const std::string &help) const {
    return Argument{option_->description(help)};
}

Argument Argument::required() const {
    return Argument{option_->required()};
}

Argument Argument::showsDefault() const {
    return Argument{option_->capture_default_str()};
}

Argument Argument::oneValueEach() const {
    return Argument{option_->allow_extra_args(false)};
}

Argument Argument::excludes(Argument other) const {
    return Argument{option_->excludes(other.option_)};
}

Argument Argument::needs(Argument other) const {
    return Argument{option_->needs(other.option_)};
}

Argument Argument::check(std::function<std::string(const std::string &)> check) const {
    return Argument{option_->check(std::move(check))};
}

Argument Argument::within(uint32_t least, uint32_t most) const {
    return Argument{option_->check(CLI::Range(least, most))};
}

Argument Argument::within(double least, double most) const {
    return Argument{option_->check(CLI::Range(least, most))};
}

Argument Argument::oneOf(std::initializer_list<const char *> values) const {
    return Argument{option_->check(CLI::IsMember(std::vector<std::string>(values.begin(), values.end())))};
}

Argument Argument::anExistingPath() const {
    return Argument{option_->check(CLI::ExistingPath)};
}

Argument Argument::anExistingFile() const {
    return Argument{option_->check(CLI::ExistingFile)};
}

Argument Argument::anExistingDirectory() const {
    return Argument{option_->check(CLI::ExistingDirectory)};
}

template <typename T>
Argument Arguments::option(const std::string &names, T &value, const std::string &help) const {
    return Argument{app_->add_option(names, value, help)};
}
template Argument Arguments::option(const std::string &, std::string &, const std::string &) const;
template Argument Arguments::option(const std::string &, std::vector<std::string> &, const std::string &) const;
template Argument Arguments::option(const std::string &, uint32_t &, const std::string &) const;
template Argument Arguments::option(const std::string &, double &, const std::string &) const;
template Argument Arguments::option(const std::string &, std::optional<uint16_t> &, const std::string &) const;
template Argument Arguments::option(const std::string &, std::optional<uint32_t> &, const std::string &) const;

Argument Arguments::flag(const std::string &names, bool &value, const std::string &help) const {
    return Argument{app_->add_flag(names, value, help)};
}

Arguments Arguments::subcommand(const std::string &name, const std::string &summary) const {
    return Arguments{app_->add_subcommand(name, summary)};
}

void Arguments::needsSubcommand() const {
    app_->require_subcommand(1);
}

void Arguments::footer(const std::string &text) const {
    app_->footer(text);
}

void Arguments::hide() const {
    app_->group("");
}

void Arguments::runs(std::function<void()> command) const {
    app_->callback(std::move(command));
}

}  // namespace vosctl
