/* SPDX-License-Identifier: MIT */
#include "openapi_base.h"

namespace vorn::gate {

const char openapi_base[] = R"json(
{
  "openapi": "3.0.3",
  "info": {
    "title": "vorn",
    "version": "1",
    "description": "The configuration of one device."
  },
  "servers": [{"url":"/api/v1"}],
  "security": [{"session":[]},{"token":[]}],
  "paths": {
    "/session": {
      "get": {"operationId":"get-session","responses":{"200":{"description":"Done.",
      "content":{"application/json":{"schema":{"$ref":"#/components/schemas/session"}}}},
      "default":{"$ref":"#/components/responses/problem"}}},
      "post": {"operationId":"log-in","security":[],"requestBody":{"required":true,
      "content":{"application/json":{"schema":{"type":"object",
      "properties":{"user":{"type":"string"},"password":{"type":"string"}},"required":["user",
      "password"],"additionalProperties":false}}}},"responses":{"200":{"description":"Done.",
      "content":{"application/json":{"schema":{"$ref":"#/components/schemas/session"}}}},
      "default":{"$ref":"#/components/responses/problem"}}},
      "delete": {"operationId":"log-out","parameters":[{"$ref":"#/components/parameters/csrf"}],
      "responses":{"204":{"description":"Done."},
      "default":{"$ref":"#/components/responses/problem"}}}
    },
    "/tokens": {
      "post": {"operationId":"make-token","requestBody":{"required":true,
      "content":{"application/json":{"schema":{"type":"object",
      "properties":{"name":{"type":"string"},"user":{"type":"string"}},"required":["name"],
      "additionalProperties":false}}}},"parameters":[{"$ref":"#/components/parameters/csrf"}],
      "responses":{"201":{"description":"Done.",
      "content":{"application/json":{"schema":{"type":"object",
      "properties":{"name":{"type":"string"},"user":{"type":"string"},"token":{"type":"string"}},
      "required":["name","user","token"],"additionalProperties":false}}}},
      "default":{"$ref":"#/components/responses/problem"}}}
    },
    "/schema": {
      "get": {"operationId":"get-schema","responses":{"200":{"$ref":"#/components/responses/done"},
      "default":{"$ref":"#/components/responses/problem"}}}
    },
    "/changes": {
      "post": {"operationId":"change","requestBody":{"required":true,
      "content":{"application/json":{"schema":{"$ref":"#/components/schemas/changes"}}}},
      "parameters":[{"$ref":"#/components/parameters/csrf"}],
      "responses":{"200":{"$ref":"#/components/responses/done"},
      "default":{"$ref":"#/components/responses/problem"}}}
    },
    "/trial": {
      "get": {"operationId":"get-trial","responses":{"200":{"description":"Done.",
      "content":{"application/json":{"schema":{"$ref":"#/components/schemas/trial"}}}},
      "default":{"$ref":"#/components/responses/problem"}}}
    },
    "/trial/confirm": {
      "post": {"operationId":"confirm-trial","requestBody":{"required":true,
      "content":{"application/json":{"schema":{"type":"object",
      "properties":{"id":{"type":"string"}},"required":["id"],"additionalProperties":false}}}},
      "parameters":[{"$ref":"#/components/parameters/csrf"}],
      "responses":{"200":{"$ref":"#/components/responses/done"},
      "default":{"$ref":"#/components/responses/problem"}}}
    },
    "/trial/revert": {
      "post": {"operationId":"revert-trial","requestBody":{"required":true,
      "content":{"application/json":{"schema":{"type":"object",
      "properties":{"id":{"type":"string"}},"required":["id"],"additionalProperties":false}}}},
      "parameters":[{"$ref":"#/components/parameters/csrf"}],
      "responses":{"200":{"$ref":"#/components/responses/done"},
      "default":{"$ref":"#/components/responses/problem"}}}
    },
    "/history": {
      "get": {"operationId":"get-history","responses":{"200":{"$ref":"#/components/responses/done"},
      "default":{"$ref":"#/components/responses/problem"}}}
    },
    "/history/{n}": {
      "get": {"operationId":"get-generation","responses":{"200":{"$ref":"#/components/responses/done"},
      "default":{"$ref":"#/components/responses/problem"}},"parameters":[{"name":"n","in":"path",
      "required":true,"schema":{"type":"integer","minimum":1}}]}
    },
    "/history/{n}/diff": {
      "get": {"operationId":"compare-with-now","responses":{"200":{"$ref":"#/components/responses/done"},
      "default":{"$ref":"#/components/responses/problem"}},"parameters":[{"name":"n","in":"path",
      "required":true,"schema":{"type":"integer","minimum":1}}]}
    },
    "/history/{n}/diff/{m}": {
      "get": {"operationId":"compare","responses":{"200":{"$ref":"#/components/responses/done"},
      "default":{"$ref":"#/components/responses/problem"}},"parameters":[{"name":"n","in":"path",
      "required":true,"schema":{"type":"integer","minimum":1}},{"name":"m","in":"path",
      "required":true,"schema":{"type":"integer","minimum":1}}]}
    },
    "/history/{n}/rollback": {
      "post": {"operationId":"roll-back","requestBody":{"required":true,
      "content":{"application/json":{"schema":{"$ref":"#/components/schemas/options"}}}},
      "parameters":[{"$ref":"#/components/parameters/csrf"},{"name":"n","in":"path",
      "required":true,"schema":{"type":"integer","minimum":1}}],
      "responses":{"200":{"$ref":"#/components/responses/done"},
      "default":{"$ref":"#/components/responses/problem"}}}
    },
    "/commits": {
      "get": {"operationId":"get-commits","responses":{"200":{"$ref":"#/components/responses/done"},
      "default":{"$ref":"#/components/responses/problem"}}}
    },
    "/status": {
      "get": {"operationId":"get-status","responses":{"200":{"$ref":"#/components/responses/done"},
      "default":{"$ref":"#/components/responses/problem"}}}
    },
    "/events": {
      "get": {"operationId":"get-events","responses":{"200":{"description":"Done.",
      "content":{"text/event-stream":{"schema":{"type":"string"}}}},
      "default":{"$ref":"#/components/responses/problem"}}}
    },
    "/metrics": {
      "get": {"operationId":"get-metrics","responses":{"200":{"description":"Done.",
      "content":{"application/openmetrics-text":{"schema":{"type":"string"}}}},
      "default":{"$ref":"#/components/responses/problem"}}}
    },
    "/openapi.json": {
      "get": {"operationId":"get-openapi","responses":{"200":{"$ref":"#/components/responses/done"},
      "default":{"$ref":"#/components/responses/problem"}}}
    }
  },
  "components": {
    "securitySchemes": {
      "session": {"type":"apiKey","in":"cookie","name":"vorn-session"},
      "token": {"type":"http","scheme":"bearer"}
    },
    "parameters": {
      "csrf": {"name":"X-CSRF-Token","in":"header","required":false,"schema":{"type":"string"}}
    },
    "responses": {
      "done": {"description":"Done.",
      "content":{"application/json":{"schema":{"type":"object"}}}},
      "problem": {"description":"It could not be done.",
      "content":{"application/problem+json":{"schema":{"$ref":"#/components/schemas/problem"}}}}
    },
    "schemas": {
      "session": {"type":"object","properties":{"user":{"type":"string"},
      "csrf":{"type":"string"},"expires":{"type":"integer"}},"required":["user","csrf",
      "expires"],"additionalProperties":false},
      "problem": {"type":"object","properties":{"type":{"type":"string"},
      "title":{"type":"string"},"status":{"type":"integer"},"detail":{"type":"string"},
      "errors":{"type":"array","items":{"type":"object","properties":{"class":{"type":"string"},
      "name":{"type":"string"},"property":{"type":"string"},"change":{"type":"integer"},
      "detail":{"type":"string"}},"required":["detail"],"additionalProperties":false}}},
      "required":["type","title","status","detail"],"additionalProperties":false},
      "trial": {"type":"object","properties":{"state":{"type":"string","enum":["none",
      "pending"]},"id":{"type":"string"},"holder":{"type":"string"},"since":{"type":"string"},
      "until":{"type":"string"},"remaining":{"type":"integer"}},"required":["state"],
      "additionalProperties":false},
      "options": {"type":"object","properties":{"trial":{"type":"integer","minimum":5,
      "maximum":86400},"join":{"type":"string"},"comment":{"type":"string","maxLength":200},
      "if-match":{"type":"string"},"explain":{"type":"boolean"}},"additionalProperties":false},
      "changes": {"type":"object","properties":{"changes":{"type":"array","minItems":1,
      "maxItems":1000,"items":{"$ref":"#/components/schemas/change"}},"trial":{"type":"integer",
      "minimum":5,"maximum":86400},"join":{"type":"string"},"comment":{"type":"string",
      "maxLength":200},"if-match":{"type":"string"},"explain":{"type":"boolean"}},
      "required":["changes"],"additionalProperties":false}
    }
  }
}
)json";

} // namespace vorn::gate
