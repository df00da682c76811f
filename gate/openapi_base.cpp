/* SPDX-License-Identifier: MIT */
#include "openapi_base.h"

namespace vorn::gate {

const char openapi_base[] = R"json(
{
  "openapi": "3.1.0",
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
      "get": {"operationId":"get-schema",
      "responses":{"200":{"$ref":"#/components/responses/schema"},
      "default":{"$ref":"#/components/responses/problem"}}}
    },
    "/changes": {
      "post": {"operationId":"change","requestBody":{"required":true,
      "content":{"application/json":{"schema":{"$ref":"#/components/schemas/changes"}}}},
      "parameters":[{"$ref":"#/components/parameters/csrf"}],
      "responses":{"200":{"$ref":"#/components/responses/changed"},
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
      "responses":{"200":{"$ref":"#/components/responses/ended"},
      "default":{"$ref":"#/components/responses/problem"}}}
    },
    "/trial/revert": {
      "post": {"operationId":"revert-trial","requestBody":{"required":true,
      "content":{"application/json":{"schema":{"type":"object",
      "properties":{"id":{"type":"string"}},"required":["id"],"additionalProperties":false}}}},
      "parameters":[{"$ref":"#/components/parameters/csrf"}],
      "responses":{"200":{"$ref":"#/components/responses/ended"},
      "default":{"$ref":"#/components/responses/problem"}}}
    },
    "/history": {
      "get": {"operationId":"get-history",
      "responses":{"200":{"$ref":"#/components/responses/history"},
      "default":{"$ref":"#/components/responses/problem"}}}
    },
    "/history/{n}": {
      "get": {"operationId":"get-generation",
      "responses":{"200":{"$ref":"#/components/responses/generation"},
      "default":{"$ref":"#/components/responses/problem"}},"parameters":[{"name":"n","in":"path",
      "required":true,"schema":{"type":"integer","minimum":1}}]}
    },
    "/history/{n}/diff": {
      "get": {"operationId":"compare-with-now",
      "responses":{"200":{"$ref":"#/components/responses/differences"},
      "default":{"$ref":"#/components/responses/problem"}},"parameters":[{"name":"n","in":"path",
      "required":true,"schema":{"type":"integer","minimum":1}}]}
    },
    "/history/{n}/diff/{m}": {
      "get": {"operationId":"compare",
      "responses":{"200":{"$ref":"#/components/responses/differences"},
      "default":{"$ref":"#/components/responses/problem"}},"parameters":[{"name":"n","in":"path",
      "required":true,"schema":{"type":"integer","minimum":1}},{"name":"m","in":"path",
      "required":true,"schema":{"type":"integer","minimum":1}}]}
    },
    "/history/{n}/rollback": {
      "post": {"operationId":"roll-back","requestBody":{"required":true,
      "content":{"application/json":{"schema":{"$ref":"#/components/schemas/options"}}}},
      "parameters":[{"$ref":"#/components/parameters/csrf"},{"name":"n","in":"path",
      "required":true,"schema":{"type":"integer","minimum":1}}],
      "responses":{"200":{"$ref":"#/components/responses/changed"},
      "default":{"$ref":"#/components/responses/problem"}}}
    },
    "/commits": {
      "get": {"operationId":"get-commits",
      "responses":{"200":{"$ref":"#/components/responses/commits"},
      "default":{"$ref":"#/components/responses/problem"}}}
    },
    "/status": {
      "get": {"operationId":"get-status",
      "responses":{"200":{"$ref":"#/components/responses/status"},
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
      "get": {"operationId":"get-openapi",
      "responses":{"200":{"$ref":"#/components/responses/document"},
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
      "schema": {"description":"Done.",
      "content":{"application/json":{"schema":{"$ref":"#/components/schemas/schema"}}}},
      "changed": {"description":"Done.",
      "content":{"application/json":{"schema":{"$ref":"#/components/schemas/changed"}}}},
      "ended": {"description":"Done.",
      "content":{"application/json":{"schema":{"$ref":"#/components/schemas/ended"}}}},
      "history": {"description":"Done.","content":{"application/json":{"schema":{"type":"object",
      "properties":{"generations":{"type":"array",
      "items":{"$ref":"#/components/schemas/generation"}}},"required":["generations"],
      "additionalProperties":false}}}},
      "generation": {"description":"Done.",
      "content":{"application/json":{"schema":{"allOf":[{"$ref":"#/components/schemas/generation"},
      {"required":["objects"]}]}}}},
      "differences": {"description":"Done.",
      "content":{"application/json":{"schema":{"$ref":"#/components/schemas/differences"}}}},
      "commits": {"description":"Done.","content":{"application/json":{"schema":{"type":"object",
      "properties":{"commits":{"type":"array",
      "items":{"$ref":"#/components/schemas/commit"}}},"required":["commits"],
      "additionalProperties":false}}}},
      "status": {"description":"Done.",
      "content":{"application/json":{"schema":{"$ref":"#/components/schemas/status"}}}},
      "document": {"description":"Done.","content":{"application/json":{"schema":{"type":"object",
      "required":["openapi","paths"]}}}},
      "problem": {"description":"It could not be done.",
      "content":{"application/problem+json":{"schema":{"$ref":"#/components/schemas/problem"}}}}
    },
    "schemas": {
      "session": {"type":"object","properties":{"user":{"type":"string"},
      "csrf":{"type":"string"},"expires":{"type":"integer"}},"required":["user","csrf",
      "expires"],"additionalProperties":false},
      "problem": {"type":"object","properties":{"type":{"type":"string"},
      "title":{"type":"string"},"status":{"type":"integer"},"detail":{"type":"string"},
      "errors":{"type":"array","items":{"$ref":"#/components/schemas/wrong"}}},
      "required":["type","title","status","detail"],"additionalProperties":false},
      "wrong": {"type":"object","properties":{"class":{"type":"string"},"name":{"type":"string"},
      "property":{"type":"string"},"change":{"type":"integer"},"detail":{"type":"string"}},
      "required":["detail"],"additionalProperties":false},
      "state": {"type":"object","properties":{"class":{"type":"string"},"name":{"type":"string"},
      "property":{"type":"string"},"value":{"type":"string"}},"required":["class",
      "property","value"],"additionalProperties":false},
      "difference": {"type":"object","properties":{"action":{"type":"string","enum":["deleted",
      "inserted","updated"]},"class":{"type":"string"},"name":{"type":"string"},
      "values":{"type":"array","items":{"type":"object",
      "properties":{"property":{"type":"string"},"before":{"type":["string","null"]},
      "after":{"type":["string","null"]}},"required":["property","before","after"],
      "additionalProperties":false}}},"required":["action","class","values"],
      "additionalProperties":false},
      "differences": {"type":"object","properties":{"from":{"type":"integer"},
      "to":{"type":["integer","null"]},"changes":{"type":"array",
      "items":{"$ref":"#/components/schemas/difference"}}},"required":["from","to",
      "changes"],"additionalProperties":false},
      "ended": {"type":"object","properties":{"commit":{"type":"string"},
      "saved":{"type":"boolean"},"detail":{"type":"string"},
      "trial":{"$ref":"#/components/schemas/begun"},"not-applied":{"type":"array",
      "items":{"$ref":"#/components/schemas/wrong"}}},"required":["commit","saved",
      "not-applied"],"additionalProperties":false},
      "begun": {"type":"object","properties":{"id":{"type":"string"},
      "deadline-seconds":{"type":"integer"}},"required":["id","deadline-seconds"],
      "additionalProperties":false},
      "done": {"type":"object","properties":{"commit":{"type":"string"},
      "saved":{"type":"boolean"},"detail":{"type":"string"},"counts":{"type":"array",
      "items":{"type":"integer"}},"trial":{"$ref":"#/components/schemas/begun"},
      "not-applied":{"type":"array","items":{"$ref":"#/components/schemas/wrong"}}},
      "required":["commit","saved","counts","not-applied"],"additionalProperties":false},
      "explanation": {"type":"object","properties":{"commit":{"type":"string"},
      "changes":{"type":"array","items":{"$ref":"#/components/schemas/difference"}},
      "providers":{"type":"array","items":{"type":"object",
      "properties":{"name":{"type":"string"},"instances":{"type":"array",
      "items":{"type":"object","properties":{"action":{"type":"string","enum":["insert",
      "update","delete"]},"class":{"type":"string"},"name":{"type":"string"}},
      "required":["action","class"],"additionalProperties":false}},
      "effects":{"type":"array","items":{"type":"object",
      "properties":{"weight":{"type":"string","enum":["nothing","live","interrupts",
      "restarts the device"]},"text":{"type":"string"}},"required":["weight","text"],
      "additionalProperties":false}}},"required":["name","instances","effects"],
      "additionalProperties":false}},"refused":{"type":"array",
      "items":{"$ref":"#/components/schemas/wrong"}}},"required":["commit","changes",
      "providers","refused"],"additionalProperties":false},
      "changed": {"oneOf":[{"$ref":"#/components/schemas/done"},
      {"$ref":"#/components/schemas/explanation"}]},
      "generation": {"type":"object","properties":{"id":{"type":"integer"},
      "time":{"type":"string"},"user":{"type":"string"},"program":{"type":"string"},
      "origin":{"type":"string"},"comment":{"type":"string"},"changes":{"type":"string"},
      "state":{"type":"string"},"schema":{"type":"string"},"commit":{"type":"integer"},
      "bytes":{"type":"integer"},"proven":{"type":"boolean"},"pinned":{"type":"boolean"},
      "objects":{"type":"array","items":{"type":"object",
      "properties":{"class":{"type":"string"},"name":{"type":"string"},
      "properties":{"type":"object","additionalProperties":{"type":"string"}}},
      "required":["class","properties"],"additionalProperties":false}}},"required":["id",
      "time","user","program","origin","comment","changes","state","schema","commit",
      "bytes","proven","pinned"],"additionalProperties":false},
      "commit": {"type":"object","properties":{"number":{"type":"integer"},
      "time":{"type":"string"},"user":{"type":"string"},"process":{"type":"string"},
      "program":{"type":"string"},"origin":{"type":"string"},"changes":{"type":"string"},
      "result":{"type":"string"},"failures":{"type":"string"},"changed":{"type":"integer"},
      "deleted":{"type":"integer"},"microseconds":{"type":"object",
      "properties":{"parse":{"type":"integer"},"refresh":{"type":"integer"},
      "validate":{"type":"integer"},"apply":{"type":"integer"},"save":{"type":"integer"}},
      "required":["parse","refresh","validate","apply","save"],
      "additionalProperties":false},"providers":{"type":"array","items":{"type":"object",
      "properties":{"name":{"type":"string"},"instances":{"type":"integer"},
      "microseconds":{"type":"integer"}},"required":["name","instances","microseconds"],
      "additionalProperties":false}}},"required":["number","time","user","process",
      "program","origin","changes","result","failures","changed","deleted","microseconds",
      "providers"],"additionalProperties":false},
      "status": {"type":"object","properties":{"commit":{"type":"string"},
      "schema":{"type":"string"},"device":{"type":"object","properties":{"hostname":{"type":"string"}},
      "additionalProperties":false},"save":{"type":"object",
      "properties":{"time":{"type":"string"},"result":{"type":"string"},
      "reason":{"type":"string"},"unsaved":{"type":"string"},"boot":{"type":"string"},
      "broken":{"type":"string"}},"additionalProperties":false},
      "trial":{"$ref":"#/components/schemas/trial"},"problems":{"type":"array",
      "items":{"$ref":"#/components/schemas/wrong"}},"states":{"type":"array",
      "items":{"$ref":"#/components/schemas/state"}}},"required":["commit","schema","device","save",
      "trial","problems","states"],"additionalProperties":false},
      "schema": {"type":"object","properties":{"id":{"type":"string"},"classes":{"type":"array",
      "items":{"$ref":"#/components/schemas/class"}}},"required":["id","classes"],
      "additionalProperties":false},
      "class": {"type":"object","properties":{"name":{"type":"string"},"type":{"type":"string",
      "enum":["singleton","anonymous","unique-named","group-named"]},
      "persistent":{"type":"boolean"},"abstract":{"type":"boolean"},
      "superclass":{"type":"string"},"subclass-identifier":{"type":"string"},
      "label":{"type":"string"},"help":{"type":"string"},"group":{"type":"string"},
      "order":{"type":"integer"},"insertable":{"type":"boolean"},
      "deletable":{"type":"boolean"},"properties":{"type":"array",
      "items":{"$ref":"#/components/schemas/property"}}},"required":["name","type",
      "persistent","abstract","superclass","subclass-identifier","label","help","group",
      "order","insertable","deletable","properties"],"additionalProperties":false},
      "property": {"type":"object","properties":{"name":{"type":"string"},
      "readable":{"type":"boolean"},"writable":{"type":"boolean"},
      "persistent":{"type":"boolean"},"required":{"type":"boolean"},
      "inherited":{"type":"boolean"},"secret":{"type":"boolean"},
      "references":{"type":"string"},"valid":{"type":"string"},"label":{"type":"string"},
      "help":{"type":"string"},"unit":{"type":"string"},"example":{"type":"string"},
      "group":{"type":"string"},"order":{"type":"integer"},"accepts":{"type":"array",
      "items":{"type":"object","properties":{"kind":{"type":"string"}},
      "required":["kind"]}},"changeable":{"type":"boolean"},
      "insertable":{"type":"boolean"}},"required":["name","readable","writable","persistent",
      "required","inherited","secret","references","valid","label","help","unit","example",
      "group","order","accepts","changeable","insertable"],"additionalProperties":false},
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
