"""Why a job as a whole cannot be done. What is wrong with one document is a row of its result."""


class CorpusError(Exception):
    """A job that cannot be done: no document found, say, or a meta model that cannot be loaded."""


class SchedulerLost(CorpusError):
    """The scheduler of the Dask cluster does not answer, or no longer."""


class NoWorkers(CorpusError):
    """The Dask cluster has no worker, and none came within a minute."""
