/* SPDX-License-Identifier: MIT */
/*
 * Text tables: status texts read at most once for each operation of a request, and written into
 * the running configuration by passive updates. Values are inserted as they are; whatever comes
 * of that is the query engine's to refuse.
 */
#include "core/base/result.h"
#include "core/guard.h"
#include "services/util/util_columns.h"
#include "vorn/query.h"
#include "vorn/refresher.h"
#include "vorn/util.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace vorn {

namespace {

constexpr int buffer_room = 7999;
constexpr std::size_t name_room = 80;

/* A text of fixed room that silently keeps what fits. */
template <std::size_t size>
class Room {
public:
    void append(const char *pattern, ...) VORN_PRINTF(2, 3)
    {
        const std::size_t used = std::strlen(text_);
        std::va_list arguments;
        va_start(arguments, pattern);
        std::vsnprintf(text_ + used, size - used, pattern, arguments);
        va_end(arguments);
    }
    const char *get() const { return text_; }
    bool empty() const { return text_[0] == '\0'; }

private:
    char text_[size] = {};
};

/* Takes the values off a line one by one; a separator is always followed by another value. */
class Values {
public:
    explicit Values(std::string_view line) : rest_(line), more_(!line.empty()) {}

    bool has_next() const { return more_; }

    std::string_view next()
    {
        const bool quoted = begins_with('"');
        if (quoted) rest_.remove_prefix(1);
        const std::string_view value = head_of(rest_, rest_.find(quoted ? '"' : ' '));
        rest_.remove_prefix(value.size());
        if (quoted && begins_with('"')) rest_.remove_prefix(1);
        more_ = begins_with(' ');
        if (more_) rest_.remove_prefix(1);
        return value;
    }

private:
    bool begins_with(char character) const { return !rest_.empty() && rest_.front() == character; }

    std::string_view rest_;
    bool more_;
};

/* What one line asks for: an instance, values to set, and keys that tell which instance. */
struct Update {
    Room<name_room> name;
    Room<3000> properties;
    Room<1024> where;
    int keys = 0;
};

/* Older clients of the interface class know this flag as a word. */
std::string_view translated(const char *class_name, const char *column, std::string_view value)
{
    const bool flag = std::strcmp(class_name, "interface") == 0 &&
                      std::strcmp(column, "exclude-unencrypted") == 0;
    if (!flag) return value;
    return value == "1" ? "on" : "off";
}

void take_value(Update &update, const char *class_name, const char *column, std::string_view value)
{
    const char *property = *column == '*' ? column + 1 : column;
    const int length = static_cast<int>(value.size());

    if (*column == '\0') return;
    if (std::strcmp(property, "name") == 0) {
        update.name = {};
        update.name.append("%.*s", length, value.data());
    } else if (property != column) {
        update.where.append("<eq><property>%s</property><value>%.*s</value></eq>", property, length,
                            value.data());
        update.keys++;
    } else {
        value = translated(class_name, column, value);
        update.properties.append("<%s>%.*s</%s>", column, static_cast<int>(value.size()),
                                 value.data(), column);
    }
}

void take_line(Update &update, std::string_view line, const char *const *columns,
               const char *class_name)
{
    Values values(line);
    for (; values.has_next() && *columns; columns++) {
        take_value(update, class_name, *columns, values.next());
    }
}

void apply(const Update &update, const char *class_name)
{
    Room<4000> request;

    if (update.properties.empty()) return;
    request.append("<?xml version=\"1.0\"?><lsql><update><%s", class_name);
    if (!update.name.empty()) request.append(" name=\"%s\"", update.name.get());
    request.append(">%s</%s></update>", update.properties.get(), class_name);
    if (update.keys == 1) request.append("<where>%s</where>", update.where.get());
    if (update.keys > 1) request.append("<where><and>%s</and></where>", update.where.get());
    request.append("</lsql>");

    std::free(vorn_query_eval_passive(request.get()));
}

vorn_util_txt_table *find_table(vorn_util_txt_table *const *tables, const char *property)
{
    for (; *tables; tables++) {
        if (find_column((*tables)->columns, property) >= 0) return *tables;
    }
    return nullptr;
}

void read_table(vorn_util_txt_table &table)
{
    if (table.last_transaction == vorn_query_transaction_number) return;

    char buffer[buffer_room + 1] = "";
    table.last_transaction = vorn_query_transaction_number;
    table.read(table.read_argument, buffer, buffer_room, buffer);
    table.parse(buffer, table.columns, table.parse_argument, buffer);
}

bool is_property(const char *column)
{
    return *column != '\0' && *column != '*';
}

int add_property(vorn_class *klass, const char *name)
{
    vorn_property *property = vorn_property_new(name);
    if (!property) return failed;
    vorn_property_set_writable(property, 0);
    vorn_property_set_persistence(property, 0);
    const int result = vorn_class_add_property(klass, property);
    if (result != ok) vorn_property_delete(property);
    return result;
}

} // namespace

} // namespace vorn

using namespace vorn;

void vorn_util_put2object(const char *text, const char *const columns[], const void *class_name,
                          ...)
{
    if (absent(text, "text") || absent(columns, "columns")) return;
    if (absent(class_name, "class")) return;

    const char *name = static_cast<const char *>(class_name);
    while (*text) {
        const std::size_t length = std::strcspn(text, "\n");
        Update update;
        take_line(update, {text, length}, columns, name);
        apply(update, name);
        text += length + (text[length] == '\n');
    }
}

const char *vorn_util_txt_tables_get_val(vorn_instance *instance,
                                         vorn_util_txt_table *const tables[], const char *property)
{
    if (absent(tables, "tables") || absent(property, "property")) return nullptr;

    vorn_util_txt_table *table = find_table(tables, property);
    if (!table) return nullptr;
    read_table(*table);
    return vorn_instance_get_value(instance, property);
}

int vorn_util_txt_tables_add_properties(vorn_util_txt_table *const tables[], vorn_class *klass)
{
    if (absent(tables, "tables")) return failed;

    int result = ok;
    for (; *tables; tables++) {
        for (const char *const *column = (*tables)->columns; *column; column++) {
            if (is_property(*column)) result = add_property(klass, *column);
        }
    }
    return result;
}

int vorn_util_txt_tables_add_refresh(vorn_util_txt_table *const tables[], vorn_refresher *refresher,
                                     vorn_refresher_property_fn property_fn)
{
    if (absent(tables, "tables")) return failed;

    int result = ok;
    for (; *tables; tables++) {
        for (const char *const *column = (*tables)->columns; *column; column++) {
            if (!is_property(*column)) continue;
            result = vorn_refresher_set_property_fn(refresher, *column, property_fn);
        }
    }
    return result;
}
