/* SPDX-License-Identifier: MIT */
/*
 * lighttpd does what a small program should not: TLS, files, compression, clients that are slow. Of
 * what is configured only words go into its file that its validators know: numbers, paths of plain
 * characters, addresses.
 */
#include "lighttpd.h"

#include <errno.h>
#include <pwd.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "values.h"
#include "vorn-plugin/whole_file.h"

static const char own_certificate[] = "/etc/config/web/certificate.pem";

static const char fixed[] =
    "server.compat-module-load = \"disable\"\n"
    "server.modules = (\"mod_access\", \"mod_setenv\", \"mod_openssl\", \"mod_scgi\",\n"
    "  \"mod_indexfile\", \"mod_deflate\", \"mod_staticfile\")\n"
    "server.tag = \"\"\n"
    "server.max-fds = 4096\n"
    "server.max-connections = 1500\n"
    "server.max-keep-alive-requests = 10000\n"
    "server.max-keep-alive-idle = 30\n"
    "server.max-read-idle = 20\n"
    "server.max-write-idle = 120\n"
    "server.max-request-size = 1024\n"
    "server.max-request-field-size = 16384\n"
    "server.stream-response-body = 2\n"
    "server.upload-dirs = (\"" WEB_SPOOL "\")\n"
    "server.http-parseopts = (\"header-strict\" => \"enable\", \"host-strict\" => \"enable\",\n"
    "  \"url-normalize\" => \"enable\", \"url-ctrls-reject\" => \"enable\",\n"
    "  \"url-path-2f-decode\" => \"disable\", \"url-path-dotseg-remove\" => \"enable\")\n"
    "index-file.names = (\"index.html\")\n"
    "mimetype.assign = (\".html\" => \"text/html; charset=utf-8\",\n"
    "  \".js\" => \"text/javascript; charset=utf-8\", \".css\" => \"text/css; charset=utf-8\",\n"
    "  \".json\" => \"application/json\", \".svg\" => \"image/svg+xml\", \".png\" => "
    "\"image/png\",\n"
    "  \".ico\" => \"image/x-icon\", \"\" => \"application/octet-stream\")\n"
    "deflate.mimetypes = (\"text/html\", \"text/javascript\", \"text/css\", \"application/json\",\n"
    "  \"image/svg+xml\")\n"
    "deflate.allowed-encodings = (\"gzip\", \"deflate\")\n"
    "setenv.add-response-header = (\n"
    "  \"Content-Security-Policy\" =>\n"
    "    \"default-src 'self'; frame-ancestors 'none'; base-uri 'none'; form-action 'self'\",\n"
    "  \"X-Content-Type-Options\" => \"nosniff\", \"Referrer-Policy\" => \"no-referrer\",\n"
    "  \"X-Frame-Options\" => \"DENY\", \"Cross-Origin-Opener-Policy\" => \"same-origin\",\n"
    "  \"Cross-Origin-Resource-Policy\" => \"same-origin\")\n"
    /* The page names its files with a digest of what is in them; the page itself is asked for. */
    "$HTTP[\"url\"] !~ \"^/api/\" {\n"
    "  setenv.set-response-header = (\"Cache-Control\" => \"no-cache\")\n"
    "  $HTTP[\"querystring\"] =~ \"^[0-9a-f]{8}$\" {\n"
    "    setenv.set-response-header =\n"
    "      (\"Cache-Control\" => \"private, max-age=31536000, immutable\")\n"
    "  }\n"
    "}\n"
    "scgi.server = (\"/api/\" => ((\"socket\" => \"" WEB_SOCKET
    "\", \"check-local\" => \"disable\",\n"
    "  \"listen-backlog\" => 512)))\n"
    "ssl.engine = \"enable\"\n"
    "ssl.openssl.ssl-conf-cmd = (\"MinProtocol\" => \"TLSv1.2\")\n";

const char *lighttpd_certificate(const vorn_instance *web)
{
    const char *path = value_of(web, "certificate");
    return *path != '\0' ? path : own_certificate;
}

/* Whoever starts the daemon may have the page elsewhere, such as a developer. */
static const char *folder_of_page(void)
{
    const char *folder = getenv("VORN_WEB_PAGE");
    return folder != NULL && strpbrk(folder, "\"\n\\") == NULL ? folder : "/usr/share/vorn/web";
}

/* Who may come at all: everybody else is refused whatever he asks for. */
static int allow(const char *word, void *data)
{
    FILE *file = data;
    fprintf(file, "$HTTP[\"remoteip\"] != \"%s\" {\n", word);
    return 0;
}

static int close_brace(const char *word, void *data)
{
    FILE *file = data;
    (void)word;
    fputs("}\n", file);
    return 0;
}

static void write_config(FILE *file, const vorn_instance *web)
{
    const char *port = value_of(web, "port");
    const char *allowed = value_of(web, "allowed");
    fputs(fixed, file);
    /* Where all users are one, as in some containers, there is nobody else to become. */
    const struct passwd *user = getpwnam(WEB_SERVER_USER);
    if (user != NULL && user->pw_uid != 0) {
        fputs("server.username = \"" WEB_SERVER_USER "\"\n"
              "server.groupname = \"" WEB_SERVER_USER "\"\n",
              file);
    }
    fprintf(file, "server.document-root = \"%s\"\n", folder_of_page());
    fprintf(file, "server.port = %s\n", *port != '\0' ? port : "443");
    fprintf(file, "ssl.pemfile = \"%s\"\n", lighttpd_certificate(web));
    if (*allowed == '\0') return;
    for_each_word(allowed, allow, file);
    fputs("url.access-deny = (\"\")\n", file);
    for_each_word(allowed, close_brace, file);
}

/* Whether the file holds that text already: one that is replaced has its reader start anew. */
static int holds(const char *path, const char *text, size_t length)
{
    char piece[1024];
    size_t at = 0;
    size_t count = 0;
    FILE *file = whole_file_read(path);
    if (file == NULL) return 0;
    int is_same = 1;
    while (is_same && (count = fread(piece, 1, sizeof piece, file)) > 0) {
        is_same = count <= length - at && memcmp(piece, text + at, count) == 0;
        at += count;
    }
    fclose(file);
    return is_same && at == length;
}

int lighttpd_make_spool(void)
{
    const struct passwd *user = getpwnam(WEB_SERVER_USER);
    if (mkdir(WEB_SPOOL, 0700) != 0 && errno != EEXIST) return 1;
    return user != NULL && chown(WEB_SPOOL, user->pw_uid, user->pw_gid) != 0;
}

int lighttpd_write(const vorn_instance *web)
{
    char *text = NULL;
    size_t length = 0;
    FILE *memory = open_memstream(&text, &length);
    if (memory == NULL) return 1;
    write_config(memory, web);
    int failed = fclose(memory) != 0;
    if (!failed && !holds(WEB_CONFIG, text, length)) {
        FILE *file = whole_file_open(WEB_CONFIG, 0644);
        failed = file == NULL;
        if (!failed) {
            fwrite(text, 1, length, file);
            failed = whole_file_close(file, WEB_CONFIG, 0);
        }
    }
    free(text);
    return failed;
}
