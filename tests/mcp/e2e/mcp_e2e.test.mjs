// `orvanta mcp` end to end: the official TypeScript client SDK and the inspector's command line talk to
// the real program, which drives the simctl emulator. Run by ctest (tests/CMakeLists.txt) with
// ORVANTA_BINARY and ORVANTA_EMULATOR set; the packages are the pinned ones of package-lock.json.
import { test, before, after } from "node:test";
import assert from "node:assert/strict";
import { execFileSync, execFile } from "node:child_process";
import { mkdtempSync, rmSync, mkdirSync, existsSync } from "node:fs";
import { tmpdir } from "node:os";
import { join, dirname } from "node:path";
import { fileURLToPath } from "node:url";
import { promisify } from "node:util";
import { Client } from "@modelcontextprotocol/sdk/client/index.js";
import { StdioClientTransport } from "@modelcontextprotocol/sdk/client/stdio.js";

const orvanta = process.env.ORVANTA_BINARY;
const emulator = process.env.ORVANTA_EMULATOR;
const iPhone16 = "3BC9A608-0042-414F-B35C-7ADB869BC572";
const here = dirname(fileURLToPath(import.meta.url));

let root;
let environment;

before(() => {
  assert.ok(orvanta && emulator, "ORVANTA_BINARY and ORVANTA_EMULATOR must be set");
  root = mkdtempSync(join(tmpdir(), "orvanta-mcp-e2e-"));
  mkdirSync(join(root, "tmp"));
  environment = {
    PATH: process.env.PATH,
    ORVANTA_XCRUN: emulator,
    ORVANTA_EMULATOR_HOME: join(root, "emulator"),
    XDG_CONFIG_HOME: join(root, "config"),
    XDG_DATA_HOME: join(root, "data"),
    XDG_RUNTIME_DIR: join(root, "runtime"),
    HOME: join(root, "home"),
    TMPDIR: join(root, "tmp"),
    NO_COLOR: "1",
    DISPLAY: "",
    WAYLAND_DISPLAY: "",
  };
  execFileSync(orvanta, ["target", "set", iPhone16], { env: environment });
});

after(() => rmSync(root, { recursive: true, force: true }));

async function connect(extraEnvironment = {}) {
  const transport = new StdioClientTransport({
    command: orvanta,
    args: ["mcp"],
    env: { ...environment, ...extraEnvironment },
    stderr: "pipe",
  });
  const client = new Client({ name: "orvanta-e2e", version: "1.0.0" });
  await client.connect(transport);
  return client;
}

test("lists the tools with closed input schemas and truthful hints", async () => {
  const client = await connect();
  try {
    assert.ok(client.getServerVersion().name === "orvanta");
    const { tools } = await client.listTools();
    const byName = new Map(tools.map((tool) => [tool.name, tool]));
    for (const name of ["list_devices", "get_target", "set_target", "list_apps", "launch_app", "uninstall_app",
                        "set_appearance", "take_screenshot", "erase_device", "run_scenario", "doctor"]) {
      assert.ok(byName.has(name), name);
    }
    for (const tool of tools) assert.equal(tool.inputSchema.additionalProperties, false, tool.name);
    assert.equal(byName.get("list_devices").annotations.readOnlyHint, true);
    assert.equal(byName.get("uninstall_app").annotations.destructiveHint, true);
    assert.equal(byName.get("erase_device").annotations.destructiveHint, true);
    assert.ok("device" in byName.get("set_appearance").inputSchema.properties);
  } finally {
    await client.close();
  }
});

test("sets the appearance and reads it back", async () => {
  const client = await connect();
  try {
    const set = await client.callTool({ name: "set_appearance", arguments: { appearance: "dark" } });
    assert.equal(set.isError, false, JSON.stringify(set));
    assert.equal(set.structuredContent.value, "dark");
    const read = await client.callTool({ name: "get_appearance", arguments: {} });
    assert.equal(read.structuredContent.value, "dark");
    assert.deepEqual(JSON.parse(read.content[0].text), read.structuredContent);
  } finally {
    await client.close();
  }
});

test("a screenshot comes back as an image the client can see", async () => {
  const client = await connect();
  try {
    const shot = await client.callTool({ name: "take_screenshot", arguments: {} });
    assert.equal(shot.isError, false, JSON.stringify(shot).slice(0, 500));
    const image = shot.content.find((block) => block.type === "image");
    assert.ok(image, "an image block");
    assert.equal(image.mimeType, "image/png");
    const png = Buffer.from(image.data, "base64");
    assert.deepEqual([...png.subarray(1, 4)], [0x50, 0x4e, 0x47]);  // "PNG"
    const width = png.readUInt32BE(16);
    const height = png.readUInt32BE(20);
    assert.ok(width > 0 && height > 0 && Math.max(width, height) <= 2000, `${width}x${height}`);
    assert.ok(existsSync(shot.structuredContent.path), shot.structuredContent.path);
  } finally {
    await client.close();
  }
});

test("a destructive call without confirm is refused and changes nothing", async () => {
  const client = await connect();
  try {
    const apps = (await client.callTool({ name: "list_apps", arguments: { filter: "user" } })).structuredContent.items;
    assert.ok(apps.length > 0);
    const refused = await client.callTool({
      name: "uninstall_app",
      arguments: { bundleIdentifier: apps[0].bundleIdentifier },
    });
    assert.equal(refused.isError, true);
    assert.match(refused.content[0].text, /"confirm": true/);
    const after = (await client.callTool({ name: "list_apps", arguments: { filter: "user" } })).structuredContent.items;
    assert.deepEqual(after.map((app) => app.bundleIdentifier), apps.map((app) => app.bundleIdentifier));
  } finally {
    await client.close();
  }
});

test("two servers never change one simulator at once", async () => {
  // Each uninstall takes two seconds in the emulator, so the second server asks while the first holds it.
  const slow = { ORVANTA_EMULATOR_FAULTS: JSON.stringify({ uninstall: { delaySeconds: 2 } }) };
  const first = await connect(slow);
  const second = await connect(slow);
  try {
    const apps = (await first.callTool({ name: "list_apps", arguments: { filter: "user" } })).structuredContent.items;
    assert.ok(apps.length >= 2, "two user apps");
    const one = first.callTool({
      name: "uninstall_app",
      arguments: { bundleIdentifier: apps[0].bundleIdentifier, confirm: true },
    });
    await new Promise((resolve) => setTimeout(resolve, 700));
    const other = second.callTool({
      name: "uninstall_app",
      arguments: { bundleIdentifier: apps[1].bundleIdentifier, confirm: true },
    });
    const [done, refused] = await Promise.all([one, other]);
    assert.equal(done.isError, false, JSON.stringify(done));
    assert.equal(refused.isError, true, JSON.stringify(refused));
    assert.match(refused.content[0].text, /Another change to this simulator's apps is in progress/);
  } finally {
    await first.close();
    await second.close();
  }
});

test("the inspector's command line lists and calls the tools", async () => {
  const inspector = join(here, "node_modules", ".bin", "mcp-inspector");
  // The inspector takes no empty values; the emptied display variables reach the server through its own
  // environment, which the inspector passes on.
  const variables = Object.entries(environment)
    .filter(([, value]) => value !== "")
    .flatMap(([key, value]) => ["-e", `${key}=${value}`]);
  const run = (args) =>
    promisify(execFile)(inspector, ["--cli", ...variables, orvanta, "mcp", ...args], {
      env: { ...process.env, ...environment },
      timeout: 60000,
    });
  const listed = JSON.parse((await run(["--method", "tools/list"])).stdout);
  assert.ok(listed.tools.some((tool) => tool.name === "get_target"));
  const called = JSON.parse(
    (await run(["--method", "tools/call", "--tool-name", "get_target"])).stdout,
  );
  assert.equal(called.structuredContent.status, "selected");
  assert.equal(called.structuredContent.udid, iPhone16);
});
