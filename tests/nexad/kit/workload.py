"""Sets whose result is known at every step, for tests that break the server under them."""

import grpc

from gnmilib.client import as_path, as_update, gnmi, python_value

PAIR = "/test-rules:pair"
ENTRIES = 7


def request(number):
    """The SetRequest of step `number`: both leaves of a pair, an entry, at times a delete."""
    name = f"e{number % ENTRIES}"
    updates = [(PAIR + "/left", str(number)), (PAIR + "/right", str(number))]
    wanted = gnmi.SetRequest()
    if number % 5 == 0:
        wanted.delete.append(as_path(f"{PAIR}/entry[name={name}]"))
    elif number % 11 == 0:
        wanted.replace.append(
            as_update(
                PAIR,
                {"entry": [{"name": f"only-{number}", "left": str(number), "right": str(number)}]},
            )
        )
    else:
        entry = f"{PAIR}/entry[name={name}]"
        updates += [(entry + "/left", str(number)), (entry + "/right", str(number))]
    wanted.update.extend(as_update(*pair) for pair in updates)
    return wanted


def apply(number, state):
    """What step `number` makes of `state`: {"pair": (left, right), name: (left, right), ...}."""
    name = f"e{number % ENTRIES}"
    if number % 5 == 0:
        state.pop(name, None)
    elif number % 11 == 0:
        state.clear()
        state[f"only-{number}"] = (str(number), str(number))
    else:
        state[name] = (str(number), str(number))
    state["pair"] = (str(number), str(number))
    return state


def state_of(client):
    """What the server has, in the form of `apply`."""
    try:
        answer = client.get(PAIR, type="CONFIG")
    except grpc.RpcError as error:
        if error.code() != grpc.StatusCode.NOT_FOUND:
            raise
        return {}
    value = python_value(answer.notification[0].update[0].val)
    tree = {name.removeprefix("test-rules:"): member for name, member in value.items()}
    state = {
        entry["name"]: (entry.get("left"), entry.get("right")) for entry in tree.get("entry", [])
    }
    if "left" in tree or "right" in tree:
        state["pair"] = (tree.get("left"), tree.get("right"))
    return state


class Outcome:
    """What a client knows: the state after all that was acknowledged, and the step in doubt."""

    def __init__(self, state):
        self.state = dict(state)
        self.acknowledged = 0
        self.refused = 0
        self.doubtful = None

    def allowed(self):
        """The states that a restarted server may have."""
        states = [self.state]
        if self.doubtful is not None:
            states.append(apply(self.doubtful, dict(self.state)))
        return states


REFUSALS = (
    grpc.StatusCode.INTERNAL,
    grpc.StatusCode.RESOURCE_EXHAUSTED,
    grpc.StatusCode.FAILED_PRECONDITION,
    grpc.StatusCode.ABORTED,
)


def run(client, steps, state):
    """Sends the steps until the server is gone; a refused step must have changed nothing."""
    outcome = Outcome(state)
    for number in steps:
        try:
            client.set_request(request(number))
        except grpc.RpcError as error:
            if error.code() in REFUSALS:
                outcome.refused += 1
                continue
            outcome.doubtful = number
            return outcome
        apply(number, outcome.state)
        outcome.acknowledged += 1
    return outcome
