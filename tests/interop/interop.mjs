// Drives a running marlet with the official MCP client: connects with the token, lists the tools, calls each of them,
// ends the session. The first argument is the program. Ends with status 1 at the first thing that isn't as it should be.
import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import { mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { createInterface } from 'node:readline';
import { Client } from '@modelcontextprotocol/sdk/client/index.js';
import { StreamableHTTPClientTransport } from '@modelcontextprotocol/sdk/client/streamableHttp.js';

const toolNames = [
  'list_accounts', 'set_default_task_type', 'list_projects', 'set_project_subscription', 'list_tasks', 'get_task',
  'create_task', 'update_task', 'delete_task', 'add_comment', 'set_task_flags', 'start_timer', 'stop_timer', 'sync',
];

const folder = mkdtempSync(join(tmpdir(), 'marlet-interop-'));
const daemon = spawn(process.argv[2], ['--data', folder, '--json', 'serve'], {
  stdio: ['ignore', 'pipe', 'inherit'],
  env: { ...process.env, DBUS_SESSION_BUS_ADDRESS: 'disabled:' },  // not the keyring of whoever runs the tests
});
const ended = new Promise((resolve) => daemon.once('exit', resolve));
// Nothing here may take longer; a daemon that is left must not outlive the test.
const limit = setTimeout(() => { daemon.kill('SIGKILL'); process.exit(1); }, 60_000);

const called = new Set();

// The structured result, which the text must repeat.
async function call(client, name, args = {}) {
  called.add(name);
  const result = await client.callTool({ name, arguments: args });
  assert.ok(!result.isError, `${name}: ${JSON.stringify(result.content)}`);
  assert.equal(result.content[0].type, 'text');
  assert.deepEqual(JSON.parse(result.content[0].text), result.structuredContent, `${name}: text and structure differ`);
  return result.structuredContent;
}

async function refusal(client, name, args) {
  called.add(name);
  const result = await client.callTool({ name, arguments: args });
  assert.equal(result.isError, true, `${name} should have refused`);
  return result.content[0].text;
}

async function checkTools(client) {
  const { tools } = await client.listTools();
  assert.deepEqual(tools.map((tool) => tool.name), toolNames);
  for (const tool of tools) {
    assert.equal(tool.inputSchema.type, 'object');
    assert.equal(tool.inputSchema.additionalProperties, false);
    assert.ok(tool.description && tool.annotations.title ? true : tool.title, `${tool.name} has no title`);
  }
}

async function checkReading(client) {
  const { accounts } = await call(client, 'list_accounts');
  assert.equal(accounts.length, 1);
  assert.equal(accounts[0].service, 'On This Mac');
  const { projects } = await call(client, 'list_projects', { include_unsubscribed: true });
  assert.deepEqual(projects.map((project) => project.name), ['Tasks']);
  assert.match(await refusal(client, 'set_default_task_type', { account_id: accounts[0].account_id, type: 'Story' }),
    /Only Jira issues do/);
  return { account: accounts[0].account_id, project: projects[0].project_key };
}

async function checkTasks(client, project) {
  const created = await call(client, 'create_task', {
    project_key: project, title: 'Wässer die Bohnen 🌱', notes: 'One\nTwo', labels: ['garden'], due_date: '2027-01-31',
  });
  const id = created.task_id;
  const changed = await call(client, 'update_task', { task_id: id, title: 'Water', due_date: null, completed: false });
  assert.equal(changed.title, 'Water');
  assert.equal(changed.due_date, null);
  const { tasks } = await call(client, 'list_tasks', { project_key: project, query: 'GARDEN' });
  assert.deepEqual(tasks.map((task) => task.task_id), [id]);
  assert.equal((await call(client, 'set_task_flags', { task_id: id, next: true })).next, true);
  assert.equal((await call(client, 'start_timer', { task_id: id })).timing, true);
  assert.equal((await call(client, 'stop_timer')).stopped, true);
  return id;
}

async function checkServerSide(client, { account, project }, id) {
  const synced = await call(client, 'sync', { account_id: account, full: true });
  assert.deepEqual(synced.project_errors, []);
  assert.deepEqual(synced.rejected_tasks, []);
  assert.equal((await call(client, 'add_comment', { task_id: id, body: ' Done ' })).body, 'Done');
  const task = await call(client, 'get_task', { task_id: id, include_comments: true, include_raw: true });
  assert.equal(task.number, '1');
  assert.equal(task.notes, 'One\nTwo');
  assert.deepEqual(task.comments.map((comment) => comment.body), ['Done']);
  assert.equal(typeof task.raw, 'object');
  await call(client, 'set_project_subscription', { project_key: project, subscribed: true });
  assert.equal((await call(client, 'delete_task', { task_id: id })).deleted, true);
  assert.match(await refusal(client, 'get_task', { task_id: id }), /No task with task_id/);
}

async function run() {
  const [line] = await new Promise((resolve) => {
    const lines = createInterface({ input: daemon.stdout });
    lines.once('line', (text) => resolve([text]));
  });
  const { endpoint, token } = JSON.parse(line);
  const stranger = new Client({ name: 'interop', version: '1.0.0' });
  await assert.rejects(stranger.connect(new StreamableHTTPClientTransport(new URL(endpoint))));

  const client = new Client({ name: 'interop', version: '1.0.0' });
  const headers = { Authorization: `Bearer ${token}` };
  const transport = new StreamableHTTPClientTransport(new URL(endpoint), { requestInit: { headers } });
  await client.connect(transport);
  assert.equal(client.getServerVersion().name, 'marlet');
  assert.match(client.getInstructions(), /^Marlet is a Mac task client/);
  assert.ok(transport.sessionId);
  await client.ping();
  await checkTools(client);
  const place = await checkReading(client);
  const id = await checkTasks(client, place.project);
  await checkServerSide(client, place, id);
  assert.deepEqual([...called].sort(), [...toolNames].sort());
  await transport.terminateSession();
  await client.close();
}

let status = 0;
try {
  await run();
  console.log(`${toolNames.length} tools called`);
} catch (error) {
  console.error(error);
  status = 1;
}
daemon.kill('SIGTERM');
const daemonStatus = await ended;
clearTimeout(limit);
rmSync(folder, { recursive: true, force: true });
process.exit(status || daemonStatus);
