"""What Session.fetch_many returns: the records by shot, with what the batch knew of each."""


class FetchedRecords(dict):
    """{shot: Record} of one fetch_many, and two attributes:

    from_cache: frozenset of the shots the local cache served, without a download;
    entries: {shot: Entry}, the catalogue row of the batch's one search for each shot it listed
    (offline: the row the cache entry was stored under). A record from the cache is exactly the
    version of its row; a download began after the search, so its data set may have been replaced
    in between: whoever must know searches again after the batch.
    """

    def __init__(self, *args, **kwargs):
        super().__init__(*args, **kwargs)
        self.from_cache = frozenset()
        self.entries = {}
